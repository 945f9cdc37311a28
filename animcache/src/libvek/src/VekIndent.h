// SPDX-License-Identifier: Apache-2.0
//
// The indentation of the text dumps.

#ifndef VEK_INDENT_H
#define VEK_INDENT_H

#include <ostream>

namespace Vek {

/// Writes ". " for every level.
inline std::ostream& printIndent(std::ostream& os, int indent) {
  for (int i = 0; i < indent; ++i) os << ". ";
  return os;
}

}  // namespace Vek

#endif
