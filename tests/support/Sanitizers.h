// What this program is built with: g++ and clang tell it in different ways.
#pragma once

#if !defined(__has_feature)
#define __has_feature(feature) 0
#endif

namespace test {

#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

/// Tests that let one call after the other fail take so many at a step: under sanitizers each is many times slower, and the other
/// builds try every one.
constexpr unsigned int kFailureStep = kAddressSanitizer || kThreadSanitizer ? 3 : 1;

}  // namespace test
