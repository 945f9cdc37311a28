// SPDX-License-Identifier: Apache-2.0
//
// Tells whether the address sanitizer watches the tests: it needs more address space than can be
// taken away, and ends the process when an allocation fails.

#ifndef VEK_TEST_ADDRESS_SANITIZER_H
#define VEK_TEST_ADDRESS_SANITIZER_H

#if defined(__SANITIZE_ADDRESS__)
#define VEK_TEST_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEK_TEST_SANITIZED
#endif
#endif

namespace VekTest {

#if defined(VEK_TEST_SANITIZED)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

}  // namespace VekTest

#endif
