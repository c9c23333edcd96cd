// libFuzzer target: SQL analysis and query execution on any text.
//
// Each input is one SELECT text (UTF-8; other bytes are taken one character
// each). It is verified, run, run again (reuse of the earlier answer), used as
// the source of a second query, recomputed after an edit of its source, and
// finally the source table is deleted with everything computed from it.
// Nothing may crash, hang or leak, whatever the text.

#include "fuzz/fuzz_support.h"

#include <vector>

namespace {

CComVariant Null() {
    CComVariant v;
    v.vt = VT_NULL;
    return v;
}

// Two small tables with many ties, mixed case, accents, nulls and a field
// name that needs brackets.
void Fill(DbDatabase& db) {
    DbTableInfo* parts = db.CreateTable(L"Parts", DbTableInfo::TABLE);
    DbTableDescr* descr = parts->descr;
    descr->CreateField(L"id", true, DbFieldDescr::ftLong);
    descr->CreateField(L"Name", false, DbFieldDescr::ftText);
    descr->CreateField(L"weight", false, DbFieldDescr::ftDouble);
    descr->CreateField(L"qty", false, DbFieldDescr::ftInteger);
    descr->CreateField(L"ok", false, DbFieldDescr::ftBoolean);
    descr->CreateField(L"blob", false, DbFieldDescr::ftBinary);
    descr->CreateField(L"unit price", false, DbFieldDescr::ftFloat);
    static const wchar_t* const kNames[] = {L"bolt",  L"Bolt",  L"BOLT", L"nut",
                                            L"écrou", L"Écrou", L"",     L"a'b"};
    for (int i = 0; i < 24; ++i) {
        DbTableRow& row = *parts->data->GetRow(static_cast<int>(parts->data->AddRow()));
        row[0].SetValue(CComVariant(i));
        row[1].SetValue(CComVariant(kNames[i % 8]));
        row[2].SetValue(i % 5 == 0 ? Null() : CComVariant(static_cast<double>(i % 4) / 2));
        row[3].SetValue(CComVariant(static_cast<short>(i % 3)));
        row[4].SetValue(CComVariant(i % 2 == 0));
        row[6].SetValue(CComVariant(static_cast<float>(i % 6) * 1.5f));
    }
    DbTableInfo* orders = db.CreateTable(L"orders", DbTableInfo::TABLE);
    orders->descr->CreateField(L"id", true, DbFieldDescr::ftLong);
    orders->descr->CreateField(L"name", false, DbFieldDescr::ftText);
    for (int i = 0; i < 6; ++i) {
        DbTableRow& row = *orders->data->GetRow(static_cast<int>(orders->data->AddRow()));
        row[0].SetValue(CComVariant(i % 3));
        row[1].SetValue(CComVariant(kNames[i]));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    DbDatabase db;
    db.Create(L"");  // no file: nothing is ever written
    Fill(db);
    const CString sql = korvan::fuzz::Text(data, size);

    db.VerifySQL(sql);
    CString name;
    if (db.Query(sql, name)) {
        CString again;
        db.Query(sql, again);
        CString nested;
        db.Query(L"select * from [" + name + L"] where id > 3 order by name desc", nested);
        db.GetTableData(L"parts")->GetRow(0)->GetField(1).SetValue(CComVariant(L"changed"));
        db.GetTableData(name);
        db.Query(sql, again);
    }
    db.DeleteTable(L"parts");
    std::vector<CString> log;
    db.GetError(log);
    return 0;
}
