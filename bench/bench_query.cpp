// ORDER BY and DISTINCT of DbDatabase::Query against their plain forms:
// insertion into a flat vector at the position SpatialIndex gives, and a
// comparison of every row with every row kept so far. Both must give the
// same rows; the program prints the times and their ratio.
//
//     bench_query [rows]      (default 100000)

#include <korvan/database.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

double Seconds() {
    return korvan::MonotonicSeconds();
}

void Report(const char* what, double fast, double plain, bool same) {
    std::printf("%-28s query %8.3f s   plain %8.3f s   ratio %7.1f   %s\n", what, fast, plain,
                plain / fast, same ? "same rows" : "DIFFERENT ROWS");
}

// ORDER BY one field: the query against insertion into a flat vector.
void Order(DbDatabase& db, DbTableData* data, const wchar_t* field, uint64_t index) {
    CString name;
    double start = Seconds();
    db.Query(StringBuilder(L"select * from t order by %s", field), name);
    const double fast = Seconds() - start;
    start = Seconds();
    std::vector<uint64_t> sorted;
    for (uint64_t r = 0; r < data->size(); ++r) {
        const uint64_t pos =
            data->SpatialIndex(sorted, {index}, *data->GetRow(static_cast<int>(r)));
        sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(pos), r);
    }
    const double plain = Seconds() - start;
    DbTableData* ordered = db.GetTableData(name);
    bool same = ordered->size() == sorted.size();
    for (size_t i = 0; same && i < sorted.size(); ++i) {
        same = ordered->GetRow(static_cast<int>(i)) == data->GetRow(static_cast<int>(sorted[i]));
    }
    Report(CString(L"order by " + CString(field)).ToUtf8().c_str(), fast, plain, same);
}

// DISTINCT one field over the first head rows (the plain form, every row
// against every row kept, is quadratic).
void Distinct(DbDatabase& db, DbTableData* data, const wchar_t* field, uint64_t index, int head) {
    CString name;
    double start = Seconds();
    db.Query(StringBuilder(L"select distinct top %d %s from t", head, field), name);
    const double fast = Seconds() - start;
    start = Seconds();
    std::vector<const DbTableRow*> kept;
    for (int r = 0; r < head; ++r) {
        const DbTableRow* row = data->GetRow(r);
        const bool seen = std::any_of(kept.begin(), kept.end(), [&](const DbTableRow* k) {
            const VARIANT& other = (*k)[index].GetVariant();
            return (*row)[index].GetVariant() == other;
        });
        if (!seen) {
            kept.push_back(row);
        }
    }
    const double plain = Seconds() - start;
    DbTableData* distinct = db.GetTableData(name);
    bool same = distinct->size() == kept.size();
    for (size_t i = 0; same && i < kept.size(); ++i) {
        const VARIANT& expected = (*kept[i])[index].GetVariant();
        same = distinct->GetRow(static_cast<int>(i))->GetField(0).GetVariant() == expected;
    }
    Report(CString(L"distinct " + CString(field)).ToUtf8().c_str(), fast, plain, same);
}

}  // namespace

int main(int argc, char** argv) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 100000;
    DbDatabase db;
    db.Create(L"");  // no file: nothing is ever written
    DbTableInfo* table = db.CreateTable(L"t", DbTableInfo::TABLE);
    table->descr->CreateField(L"n", false, DbFieldDescr::ftLong);
    table->descr->CreateField(L"x", false, DbFieldDescr::ftDouble);
    table->descr->CreateField(L"s", false, DbFieldDescr::ftText);
    DbTableData* data = table->data;
    std::mt19937 random(1);
    data->AddRows(static_cast<uint64_t>(count));
    for (int i = 0; i < count; ++i) {
        DbTableRow& row = *data->GetRow(i);
        row[0].GetVariant() = CComVariant(static_cast<int>(random() % 1000));
        row[1].GetVariant() = CComVariant(static_cast<double>(random() % 5000));
        const unsigned r = random();
        row[2].GetVariant() = CComVariant(StringBuilder(r % 2 ? L"Part %u" : L"part %u", r % 2500));
    }

    // Many ties: a thousand keys, and texts that are equal without regard to
    // case but ordered with it.
    Order(db, data, L"n", 0);
    Order(db, data, L"s", 2);
    // About a quarter of the first rows are kept.
    const int head = std::min(count, 20000);
    Distinct(db, data, L"x", 1, head);
    Distinct(db, data, L"s", 2, head);
    return 0;
}
