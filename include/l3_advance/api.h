/**
 * @file
 * What every header of the library shares: the mark of an exported name and the
 * compile-time assertion that C11 and C++ spell differently.
 */
#ifndef L3_ADVANCE_API_H
#define L3_ADVANCE_API_H

/** Marks what the library exports. */
#if defined(__GNUC__)
#define L3_API __attribute__((visibility("default")))
#else
#define L3_API
#endif

/** The assertion at compile time, in the words of C11 or C++. */
#ifdef __cplusplus
#define L3_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define L3_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#endif
