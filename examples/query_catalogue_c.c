/* The program query_catalogue.cpp shows, in plain C through korvan_c.h: what
 * a program in C, or in any language that can call C, does with the library.
 *
 *   query_catalogue_c [catalogue.xml]     (default: sections.xml) */
#include <korvan/korvan_c.h>

#include <stdio.h>

int main(int argc, char** argv) {
    char error[512];
    korvan_database* db = korvan_open(argc > 1 ? argv[1] : "sections.xml", error, sizeof error);
    if (!db) {
        fprintf(stderr, "%s\n", error);
        return 1;
    }
    korvan_result* answer = korvan_query(
        db, "select designation, mass from i_beams where mass > 30 order by mass desc");
    if (!answer) {
        fprintf(stderr, "%s\n", korvan_last_error(db));
        korvan_close(db);
        return 1;
    }
    for (long long row = 0; row < korvan_result_rows(answer); ++row) {
        printf("%-8s %s kg/m\n", korvan_result_text(answer, row, 0),
               korvan_result_text(answer, row, 1));
    }
    korvan_result_free(answer);
    korvan_close(db);
    return 0;
}
