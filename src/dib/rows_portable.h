// SPDX-License-Identifier: Apache-2.0
//
// The portable row kernels by name: the table's, and what the other forms leave row ends to.
#ifndef DIBKIT_SRC_DIB_ROWS_PORTABLE_H
#define DIBKIT_SRC_DIB_ROWS_PORTABLE_H

#include "dib/row_kernels.h"

namespace dibkit::portable {

void Bits4To8(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Bits1To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Bits4To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Bits8To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Rgb555To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Fields16To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Rgb32To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Fields32To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Bits1To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Bits4To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Bits8To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Rgb24To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Rgb32To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);
void Fields32To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables);

}  // namespace dibkit::portable

#endif  // DIBKIT_SRC_DIB_ROWS_PORTABLE_H
