// SPDX-License-Identifier: Apache-2.0
//
// Whether the tests are built with AddressSanitizer, which takes more time and address space.

#ifndef VEK_TEST_SANITIZER_H
#define VEK_TEST_SANITIZER_H

#if defined(__SANITIZE_ADDRESS__)
#define VEK_TEST_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEK_TEST_ADDRESS_SANITIZER 1
#endif
#endif

namespace VekTest {

#if defined(VEK_TEST_ADDRESS_SANITIZER)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

}  // namespace VekTest

#endif
