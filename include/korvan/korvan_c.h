/* korvan/korvan_c.h - a plain C face of the library, for programs in other
 * languages or built by other compilers, which cannot use its C++ classes:
 * open a catalogue, run a query, read the answer as UTF-8 texts, free.
 *
 * Texts in and out are UTF-8. A result is a copy of the answer: it stays
 * valid after its database is closed, until korvan_result_free. Every
 * function accepts null handles and then does nothing (or returns 0 or
 * null). The library is used from one thread at a time. */
#ifndef KORVAN_KORVAN_C_H
#define KORVAN_KORVAN_C_H

#include <stddef.h>

#if defined(_WIN32)
#if defined(KORVAN_BUILDING_LIBRARY)
#define KORVAN_C_API __declspec(dllexport)
#elif defined(KORVAN_STATIC)
#define KORVAN_C_API
#else
#define KORVAN_C_API __declspec(dllimport)
#endif
#else
#define KORVAN_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct korvan_database korvan_database;
typedef struct korvan_result korvan_result;

/* Opens the catalogue at path and reads its table structure. Null when that
 * fails; the reason is then copied into error (at most error_size bytes,
 * terminated) when error is not null. */
KORVAN_C_API korvan_database* korvan_open(const char* path, char* error, size_t error_size);

/* Closes the database without saving anything. */
KORVAN_C_API void korvan_close(korvan_database* db);

/* Runs a SELECT. Null when the query cannot be run: korvan_last_error then
 * tells why. */
KORVAN_C_API korvan_result* korvan_query(korvan_database* db, const char* sql);

/* The reason of the last failure on db, "" when there was none; valid until
 * the next call on db. */
KORVAN_C_API const char* korvan_last_error(const korvan_database* db);

KORVAN_C_API int korvan_result_columns(const korvan_result* result);
KORVAN_C_API long long korvan_result_rows(const korvan_result* result);
/* Null for a column beyond the last. */
KORVAN_C_API const char* korvan_result_column_name(const korvan_result* result, int column);
/* A cell in its text form; null for a null cell and for a cell beyond the
 * answer. */
KORVAN_C_API const char* korvan_result_text(const korvan_result* result, long long row, int column);

KORVAN_C_API void korvan_result_free(korvan_result* result);

#ifdef __cplusplus
}
#endif

#endif /* KORVAN_KORVAN_C_H */
