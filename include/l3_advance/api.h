/**
 * What every header of the library shares: the mark of an exported name and the
 * compile-time assertion that C11 and C++ spell differently.
 */
#ifndef L3_ADVANCE_API_H
#define L3_ADVANCE_API_H

#if defined(__GNUC__)
#define L3_API __attribute__((visibility("default")))
#else
#define L3_API
#endif

#ifdef __cplusplus
#define L3_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define L3_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#endif
