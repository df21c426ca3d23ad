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

}  // namespace test
