// Opens a catalogue and walks the answers of queries with recordsets: first
// reading fields by name, then through the members of a derived recordset
// that are bound to fields. The shortest complete uses of the library.
//
//   query_catalogue [catalogue.xml]     (default: sections.xml)
#include <korvan/korvan.h>

#include <cstdio>

// Open() runs GetDefaultSQL() and calls InitFieldExchange(); every move then
// copies the current row into the bound members.
class HeavyBeams : public DbRecordset {
  public:
    using DbRecordset::DbRecordset;

    CString GetDefaultSQL() override {
        return L"select designation, mass, height from i_beams where height >= 400";
    }
    void InitFieldExchange() override {
        MapClassMember(L"designation", &designation);
        MapClassMember(L"mass", &mass);
        MapClassMember(L"height", &height);
    }

    CString designation;
    double mass = 0;
    double height = 0;
};

int main(int argc, char** argv) {
    try {
        DbDatabase db(CString(argc > 1 ? argv[1] : "sections.xml"));
        DbRecordset rs(&db);
        if (!rs.Open(L"select designation, mass from i_beams where mass > 30 order by mass desc")) {
            std::fprintf(stderr, "%s\n", db.GetErrorLog().ToUtf8().c_str());
            return 1;
        }
        for (; !rs.IsEOF(); rs.MoveNext()) {
            const CComVariant designation = rs.GetFieldValue(L"designation");
            std::printf("%-8s %6.1f kg/m\n", CString(designation.bstrVal).ToUtf8().c_str(),
                        rs.GetFieldValue(L"mass").dblVal);
        }

        HeavyBeams beams(&db);
        for (beams.Open(); !beams.IsEOF(); beams.MoveNext()) {
            std::printf("%-8s %4.0f mm %6.1f kg/m\n", beams.designation.ToUtf8().c_str(),
                        beams.height, beams.mass);
        }
    } catch (DbException* e) {  // a file that cannot be opened or read, a field not there
        std::fprintf(stderr, "%s\n", e->Message().ToUtf8().c_str());
        e->Delete();
        return 1;
    }
    return 0;
}
