// Opens a catalogue, runs a query and walks the answer: the shortest complete
// use of the library.
//
//   query_catalogue [catalogue.xml]     (default: sections.xml)
#include <korvan/korvan.h>

#include <cstdio>

int main(int argc, char** argv) {
    try {
        DbDatabase db(CString(argc > 1 ? argv[1] : "sections.xml"));
        CString answer;  // the registry name of the answer table
        if (!db.Query(L"select designation, mass from i_beams where mass > 30 order by mass desc",
                      answer)) {
            std::fprintf(stderr, "%s\n", db.GetErrorLog().ToUtf8().c_str());
            return 1;
        }
        const DbRows& rows = *db.GetTableData(answer)->GetRows();
        for (uint64_t i = 0; i < rows.GetRowsCount(); ++i) {
            const DbTableRow& row = *rows.GetRow(static_cast<int>(i));
            CString designation;
            row[0].ValueToString(designation);
            std::printf("%-8s %6.1f kg/m\n", designation.ToUtf8().c_str(),
                        row[1].GetValue().dblVal);
        }
    } catch (DbException* e) {  // a file that cannot be opened or read
        std::fprintf(stderr, "%s\n", e->Message().ToUtf8().c_str());
        e->Delete();
        return 1;
    }
    return 0;
}
