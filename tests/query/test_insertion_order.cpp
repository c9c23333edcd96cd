// The order of binary insertion, computed the fast way, against inserting
// row after row into a vector at the position DbTableData::SpatialIndex
// gives.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "query/Db_InsertionOrder.h"
#include "tests/model/tables.h"

namespace {

using testtables::Column;
using testtables::Rows;
using testtables::Table;

std::vector<uint64_t> PlainInsertion(DbTableData& data, const std::vector<uint64_t>& fields,
                                     const std::vector<uint64_t>& sequence) {
    std::vector<uint64_t> sorted;
    for (const uint64_t r : sequence) {
        const uint64_t at = data.SpatialIndex(sorted, fields, *data.GetRow(static_cast<int>(r)));
        sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(at), r);
    }
    return sorted;
}

CComVariant Text(const wchar_t* text) {
    return CComVariant(text);
}

using Generator = std::function<CComVariant(std::mt19937&)>;

template <typename T>
Generator OneOf(std::vector<T> values) {
    return [values](std::mt19937& random) {
        return CComVariant(
            values[std::uniform_int_distribution<size_t>(0, values.size() - 1)(random)]);
    };
}

Generator Texts(std::vector<const wchar_t*> texts) {
    return OneOf(std::move(texts));
}

TEST(InsertionOrderTest, EqualsInsertingIntoAVector) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* what;
        bool ranked;  // whether the keys form an order the fast way can use
        std::vector<Column> columns;
        std::vector<Generator> values;
    } cases[] = {
        {"few longs", true, {{L"v", DbFieldDescr::ftLong}}, {OneOf(std::vector<int>{0, 1, 2, 3})}},
        {"distinct longs", true, {{L"v", DbFieldDescr::ftLong}}, {[](std::mt19937& r) {
             return CComVariant(static_cast<int>(r()));
         }}},
        {"reals and signed zeros",
         true,
         {{L"v", DbFieldDescr::ftDouble}},
         {OneOf(std::vector<double>{-0.0, 0.0, 1.5, -2.25, 3.0})}},
        {"floats",
         true,
         {{L"v", DbFieldDescr::ftFloat}},
         {OneOf(std::vector<float>{0.5f, -1.0f, 7.25f})}},
        {"booleans",
         true,
         {{L"v", DbFieldDescr::ftBoolean}},
         {OneOf(std::vector<bool>{true, false})}},
        {"texts in several cases",
         true,
         {{L"v", DbFieldDescr::ftText}},
         {Texts({L"", L"bolt", L"Bolt", L"BOLT", L"nut", L"NUT", L"a", L"A", L"ab", L"aB", L"Łódź",
                 L"łÓDŹ", L"Ä", L"ä", L"b ", L"10", L"9"})}},
        {"printable ASCII texts",
         true,
         {{L"v", DbFieldDescr::ftText}},
         {Texts({L"", L"bolt", L"Bolt", L"BOLT", L"b-c", L"b c", L"10", L"9", L"a_b", L"A", L"a",
                 L"~", L"HEA 12", L"hea 12", L"HEA 120"})}},
        // Hyphens weigh only with the case: "co-op" collates between "coop"
        // and "Coop", which are equal, while "HE-A" follows both cases of "HEA".
        {"hyphens beside the cases of another",
         true,
         {{L"v", DbFieldDescr::ftText}},
         {Texts({L"HE-A", L"HEA", L"hea", L"HEB"})}},
        {"a hyphen between two cases of another",
         false,
         {{L"v", DbFieldDescr::ftText}},
         {Texts({L"coop", L"Coop", L"co-op", L"cop"})}},
        // The fullwidth a collates between a and A, which are equal.
        {"a letter between two cases of another",
         false,
         {{L"v", DbFieldDescr::ftText}},
         {Texts({L"a", L"A", L"\uFF41", L"b"})}},
        {"canonically equal texts",
         false,
         {{L"v", DbFieldDescr::ftText}},
         {Texts({L"caf\u00e9", L"cafe\u0301", L"cafe", L"CAF\u00c9"})}},
        {"texts with U+0000", false, {{L"v", DbFieldDescr::ftText}}, {[](std::mt19937& r) {
             return CComVariant(CString(std::wstring(L"a\0b", r() % 2 ? 3 : 1)));
         }}},
        {"reals with NaN",
         false,
         {{L"v", DbFieldDescr::ftDouble}},
         {OneOf(std::vector<double>{nan, 1.0, 2.0})}},
        {"numbers and texts mixed", false, {{L"v", DbFieldDescr::ftText}}, {[](std::mt19937& r) {
             return r() % 2 ? CComVariant(static_cast<int>(r() % 3)) : Text(r() % 2 ? L"1" : L"x");
         }}},
        {"nulls", false, {{L"v", DbFieldDescr::ftLong}}, {[](std::mt19937& r) {
             return r() % 3 ? CComVariant(static_cast<int>(r() % 2)) : testtables::Null();
         }}},
        {"two fields",
         true,
         {{L"a", DbFieldDescr::ftText}, {L"b", DbFieldDescr::ftLong}},
         {Texts({L"x", L"X", L"y"}), OneOf(std::vector<int>{1, 2})}},
        {"two fields, one mixed",
         false,
         {{L"a", DbFieldDescr::ftLong}, {L"b", DbFieldDescr::ftLong}},
         {OneOf(std::vector<int>{1, 2}),
          [](std::mt19937& r) { return r() % 2 ? CComVariant(1) : CComVariant(1.0); }}},
    };
    std::mt19937 random(12345);
    for (const auto& c : cases) {
        for (const int rows : {1, 2, 7, 60, 400}) {
            Rows values(static_cast<size_t>(rows));
            for (std::vector<CComVariant>& row : values) {
                for (const Generator& value : c.values) {
                    row.push_back(value(random));
                }
            }
            Table table(c.columns, values);
            std::vector<uint64_t> fields(c.columns.size());
            std::iota(fields.begin(), fields.end(), 0);
            std::vector<uint64_t> all(static_cast<size_t>(rows));
            std::iota(all.begin(), all.end(), 0);
            // A selection as ORDER BY passes it, and one in no order at all.
            std::vector<uint64_t> some;
            std::copy_if(all.begin(), all.end(), std::back_inserter(some),
                         [&](uint64_t) { return random() % 3 != 0; });
            std::vector<uint64_t> shuffled = all;
            std::shuffle(shuffled.begin(), shuffled.end(), random);
            for (const auto* sequence : {&all, &some, &shuffled}) {
                EXPECT_EQ(korvan::InsertionOrder(*table.data.GetRows(), fields, *sequence),
                          PlainInsertion(table.data, fields, *sequence))
                    << c.what << ", " << rows << " rows";
            }
            if (rows >= 60) {
                EXPECT_EQ(korvan::HasKeyRanks(*table.data.GetRows(), fields, all), c.ranked)
                    << c.what << ", " << rows << " rows";
            }
        }
    }
}

TEST(InsertionOrderTest, WithoutFieldsEveryKeyIsEqual) {
    Table table({{L"v", DbFieldDescr::ftLong}},
                {{CComVariant(3)}, {CComVariant(1)}, {CComVariant(2)}, {CComVariant(0)}});
    const std::vector<uint64_t> all{0, 1, 2, 3};
    EXPECT_EQ(korvan::InsertionOrder(*table.data.GetRows(), {}, all),
              PlainInsertion(table.data, {}, all));
}

}  // namespace
