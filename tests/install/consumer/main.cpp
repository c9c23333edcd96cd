// A host program as a user writes it: create a catalogue, fill a table,
// query it, check the answer, save it.
#include <korvan/korvan.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: consumer FILE.xml\n");
        return 2;
    }
    DbDatabase db;
    db.Create(CString(argv[1]));
    DbTableInfo* parts = db.CreateTable(L"parts", DbTableInfo::TABLE);
    parts->descr->CreateField(L"name", true, DbFieldDescr::ftText);
    parts->descr->CreateField(L"mass", false, DbFieldDescr::ftDouble);
    const struct {
        const wchar_t* name;
        double mass;
    } rows[] = {{L"bolt", 0.5}, {L"beam", 120.0}, {L"plate", 14.5}};
    DbTableData* data = db.GetTableData(L"parts");
    for (const auto& r : rows) {
        DbTableRow* row = data->GetRow(static_cast<int>(data->AddRow()));
        (*row)[0].SetValue(CComVariant(r.name));
        (*row)[1].SetValue(CComVariant(r.mass));
    }

    CString answer;
    if (!db.Query(L"select name from parts where mass > 1 order by mass desc", answer)) {
        std::fprintf(stderr, "%s\n", db.GetErrorLog().ToUtf8().c_str());
        return 1;
    }
    DbTableData* result = db.GetTableData(answer);
    CString names;
    for (uint64_t i = 0; i < result->size(); ++i) {
        CString text;
        (*result->GetRow(static_cast<int>(i)))[0].ValueToString(text);
        names += text + L";";
    }
    std::printf("%s\n", names.ToUtf8().c_str());
    return names == L"beam;plate;" && db.Save(CString(argv[1])) ? 0 : 1;
}
