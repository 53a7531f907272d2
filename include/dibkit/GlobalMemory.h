// SPDX-License-Identifier: Apache-2.0
//
// The six global-memory functions that the host supplies. dibkit leaves them undefined: a host
// application defines them itself, or links dibkit::host, the embedded host.
//
// A host with Windows headers of its own defines DIBKIT_HOST_TYPES and includes them before any
// dibkit header; these declarations (and those of WinTypes.h) are then left out and the host's are
// used.
#ifndef DIBKIT_GLOBAL_MEMORY_H
#define DIBKIT_GLOBAL_MEMORY_H

#ifndef DIBKIT_HOST_TYPES

// A global-memory block as its owner holds it. Only the host knows what is inside.
struct tagHANDLE;

constexpr unsigned GMEM_MOVEABLE = 0x0002;        // the block is reached through GlobalLock
constexpr unsigned GMEM_ZEROINIT = 0x0040;        // the block comes back filled with zero bytes
constexpr unsigned GHND = 0x0042;                 // both; the one value that dibkit ever passes
constexpr unsigned GMEM_LOCKCOUNT = 0x00FF;       // GlobalFlags: the bits of the lock count
constexpr unsigned GMEM_INVALID_HANDLE = 0x8000;  // GlobalFlags: the handle is not a live block

extern "C" {

// Allocates a block of `bytes` bytes, unlocked. `flags` is always GHND, so the block must be zero
// throughout. A size of 0 must give a live handle too; its lock may fail. Returns null when there
// is no memory.
tagHANDLE* GlobalAlloc(unsigned flags, unsigned bytes);

// Raises the block's lock count by one and returns the address of its first byte, which stays the
// same until the count is back at 0. Returns null, with the count as it was, on failure.
void* GlobalLock(tagHANDLE* handle);

// Lowers the block's lock count by one, which GlobalFlags must show: CHandle unlocks until the
// count reads 0. dibkit never looks at the result.
int GlobalUnlock(tagHANDLE* handle);

// Releases the block; a null handle is accepted and does nothing. dibkit never looks at the result.
tagHANDLE* GlobalFree(tagHANDLE* handle);

// The size of the block in bytes.
unsigned GlobalSize(tagHANDLE* handle);

// The block's flag word: the low byte is its lock count, exactly 0x8000 says that the handle is
// invalid.
unsigned GlobalFlags(tagHANDLE* handle);

}  // extern "C"

#endif  // DIBKIT_HOST_TYPES

#endif  // DIBKIT_GLOBAL_MEMORY_H
