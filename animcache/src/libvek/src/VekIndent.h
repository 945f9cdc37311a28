// SPDX-License-Identifier: Apache-2.0
//
// The indentation of the text dumps.

#ifndef VEK_INDENT_H
#define VEK_INDENT_H

#include <ostream>

namespace Vek {

/// Writes ". " for every level.
inline std::ostream& printIndent(std::ostream& os, int indent) {
  constexpr char block[] = ". . . . . . . . . . . . . . . . ";
  constexpr std::streamsize blockSize = sizeof(block) - 1;
  std::streamsize size = 2 * static_cast<std::streamsize>(indent);
  for (; size >= blockSize; size -= blockSize) os.write(block, blockSize);
  return size > 0 ? os.write(block, size) : os;
}

}  // namespace Vek

#endif
