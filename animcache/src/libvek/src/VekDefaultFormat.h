// SPDX-License-Identifier: Apache-2.0
//
// Number formats of the tools' output.

#ifndef VEK_DEFAULT_FORMAT_H
#define VEK_DEFAULT_FORMAT_H

#include <ios>
#include <locale>

namespace Vek {

/// Gives a stream the default format of the C locale for as long as it lives, and its own back
/// afterwards: neither the host's settings nor a chunk's print show in what follows.
class DefaultFormat {
 public:
  explicit DefaultFormat(std::ios& stream) : m_stream(stream), m_saved(nullptr) {
    m_saved.copyfmt(stream);
    reset();
  }
  DefaultFormat(const DefaultFormat&) = delete;
  DefaultFormat& operator=(const DefaultFormat&) = delete;
  ~DefaultFormat() { m_stream.copyfmt(m_saved); }

 private:
  void reset() {
    std::ios plain(nullptr);
    plain.imbue(std::locale::classic());
    m_stream.copyfmt(plain);
  }

  std::ios& m_stream;
  std::ios m_saved;
};

}  // namespace Vek

#endif
