// SPDX-License-Identifier: Apache-2.0
//
// The standard output stream as the tools use it.

#ifndef VEK_TOOL_OUTPUT_H
#define VEK_TOOL_OUTPUT_H

#include <exception>
#include <iostream>
#include <locale>

namespace Vek {

/// A stream of its own onto the buffer of the standard output stream. Numbers look as in the C
/// locale, and neither the formats nor the exceptions that the host has set on its stream matter
/// or change. A failed write shows in the host's stream afterwards.
class ToolOutput {
 public:
  ToolOutput() : m_stream(nullptr) {
    m_stream.imbue(std::locale::classic());
    m_stream.rdbuf(std::cout.rdbuf());
  }
  ToolOutput(const ToolOutput&) = delete;
  ToolOutput& operator=(const ToolOutput&) = delete;
  ~ToolOutput() {
    try {
      if (!m_stream.flush()) std::cout.setstate(std::ios::badbit);
    } catch (const std::exception&) {
      return;  // The host has asked for an exception that must not leave a destructor.
    }
  }

  std::ostream& stream() { return m_stream; }

 private:
  std::ostream m_stream;
};

}  // namespace Vek

#endif
