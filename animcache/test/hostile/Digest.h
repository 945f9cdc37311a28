// SPDX-License-Identifier: Apache-2.0
//
// A number made of everything that a walk has been answered. Making it reads every byte of every
// answer, so that a memory checker sees the ones that are not the library's to hand out.

#ifndef VEK_TEST_DIGEST_H
#define VEK_TEST_DIGEST_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace VekTest {

class Digest {
 public:
  template <typename T>
  void number(T v) {
    static_assert(sizeof(T) <= sizeof(std::uint64_t));
    std::uint64_t bits = 0;
    std::memcpy(&bits, &v, sizeof(T));
    m_value = (m_value ^ bits) * 1099511628211U + (m_value >> 47);
  }
  void text(const std::string& s) {
    number(s.size());
    for (const char c : s) number(c);
  }
  template <typename T>
  void values(const std::vector<T>& v) {
    number(v.size());
    for (const T& value : v) element(value);
  }
  /// An answer that is a pointer into the cache.
  template <typename T>
  void pointed(bool found, const std::vector<T>* v) {
    number(found);
    number(v == nullptr);
    if (found) values(*v);
  }

  std::uint64_t value() const { return m_value; }

 private:
  template <typename T>
  void element(T v) {
    number(v);
  }
  void element(const std::string& s) { text(s); }

  std::uint64_t m_value = 14695981039346656037U;
};

}  // namespace VekTest

#endif
