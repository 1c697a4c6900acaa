#pragma once

/// With which sanitizer this is built: the one compiler tells by macros of its own, the other by features.
#if defined(__SANITIZE_ADDRESS__)
#define VARNOLEX_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define VARNOLEX_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VARNOLEX_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define VARNOLEX_THREAD_SANITIZER 1
#endif
#endif
