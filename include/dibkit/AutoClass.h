// SPDX-License-Identifier: Apache-2.0
//
// CHandle: the owning wrapper of one global-memory handle.
#ifndef DIBKIT_AUTO_CLASS_H
#define DIBKIT_AUTO_CLASS_H

#include "Export.h"
#include "GlobalMemory.h"

// Owns one global-memory block: locks it on demand (never more than once) and frees it when the
// wrapper goes away, unless the handle was taken out with GetHandle or Detach.
//
// The wrapper does not count its own locks. Wherever it lets go of one it unlocks the block to
// zero: it calls GlobalUnlock until the lock count in GlobalFlags is 0, so that locks taken by
// other code are released too.
//
// The usual life: construct on a fresh handle; if IsEmpty, report failure; take a typed pointer
// (locks); fill the block; UnLock; return GetHandle(). An early return frees the half-built block.
//
// A wrapper belongs to one thread. No member throws, and none is const.
class DIBKIT_API CHandle {
 public:
  // Adopts `handle` and unlocks it to zero. A null handle, or one for which GlobalFlags answers
  // exactly 0x8000, gives an empty wrapper.
  CHandle(tagHANDLE* handle);  // NOLINT(google-explicit-constructor): hosts rely on the conversion

  // Copies the three fields as they are: nothing is freed and the source is not emptied, so both
  // wrappers then own the same block.
  CHandle& operator=(const CHandle& other);

  virtual ~CHandle();

  // The same as Free.
  void Cleanup();

  // Frees the block, if there is one, and empties the wrapper. The block is unlocked to zero first
  // when the wrapper holds it locked; locks that only others hold are left alone. May be called any
  // number of times.
  void Free();

  // The block's address. Locks the block on the first call and answers the kept address
  // afterwards. Null when the wrapper is empty or the lock fails; a failed lock unlocks to zero.
  void* Lock();

  // Ends the wrapper's lock, if it holds one, by unlocking to zero.
  void UnLock();

  // Empties the wrapper without unlocking or freeing anything.
  void Detach();

  // Takes the handle out: the wrapper is empty afterwards and the caller owns the block, which is
  // not unlocked by this call. Null when the wrapper was empty.
  tagHANDLE* GetHandle();

  // True when the wrapper holds no handle.
  bool IsEmpty();

  // Frees what the wrapper held and takes `handle` as it is: unlike the constructor it neither asks
  // GlobalFlags nor unlocks.
  void SetHandle(tagHANDLE* handle);

  // The byte at offset `index` from the block's start; locks like Lock. The offset is not checked,
  // and when the lock may have failed (Lock() is null) there is no byte to refer to: test first.
  unsigned char& operator[](int index);

  // The block's address as a typed pointer; each locks like Lock.
  operator unsigned long*();
  operator unsigned int*();
  operator unsigned short*();
  operator unsigned char*();
  operator long*();
  operator int*();
  operator short*();
  operator char*();

  tagHANDLE* m_hHandle;  // the handle that the wrapper owns; null when empty
  void* m_pData;         // the block's address while the wrapper holds it locked, otherwise null
  bool m_bLocked;        // the wrapper holds one lock on the block
};

#endif  // DIBKIT_AUTO_CLASS_H
