#include <korvan/model.h>

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "tests/model/tables.h"

namespace {

using testtables::Table;
using Positions = std::vector<uint64_t>;

TEST(DbTableDescrTest, FieldsAndIndexesByNameInAnyCase) {
    DbTableDescr descr(nullptr);
    EXPECT_TRUE(descr.CreateField(L"name", true, DbFieldDescr::ftText));
    EXPECT_TRUE(descr.CreateField(L"\x416\x435\x441", false, DbFieldDescr::ftLong));
    EXPECT_TRUE(descr.CreateField(L"weight", false, DbFieldDescr::ftDouble));
    EXPECT_TRUE(descr.IsChanged());

    EXPECT_FALSE(descr.CreateField(L"Name", false, DbFieldDescr::ftLong));
    EXPECT_EQ(descr.GetFieldCount(), 3u);
    EXPECT_EQ(descr.GetFieldIndex(L"NAME"), 0);
    EXPECT_EQ(descr.GetFieldIndex(L"\x436\x415\x421"), 1);  // Cyrillic, other case
    EXPECT_EQ(descr.GetFieldIndex(L"height"), -1);
    EXPECT_TRUE(descr[L"Name"].IsKey());

    EXPECT_FALSE(descr.CreateIndex(L"", CString(L"name")));
    EXPECT_FALSE(descr.CreateIndex(L"byNC", std::vector<CString>{L"name", L"c"}));
    EXPECT_EQ(descr.FindIndex(L"byNC"), nullptr);
    ASSERT_TRUE(descr.CreateIndex(L"Key", std::vector<CString>{L"WEIGHT", L"name"}));
    DbTableDescr::DbIndex* index = descr.FindIndex(L"KEY");
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(index->m_fieldPositions, (Positions{2, 0}));
    // Deliberate: creating an existing index succeeds and keeps the first.
    EXPECT_TRUE(descr.CreateIndex(L"kEY", CString(L"name")));
    EXPECT_EQ(descr.FindIndex(L"key"), index);
    EXPECT_EQ(index->m_fieldPositions.size(), 2u);
    EXPECT_EQ(descr.CreateIndex(CString(L"KEY")), index);
    EXPECT_TRUE(descr.DeleteIndex(L"KEY"));
    EXPECT_FALSE(descr.DeleteIndex(L"key"));

    EXPECT_FALSE(descr.DeleteField(-1));
    ASSERT_TRUE(descr.DeleteField(0));
    EXPECT_EQ(descr.GetFieldIndex(L"weight"), 1);
    EXPECT_TRUE(descr.CreateField(L"NAME", false, DbFieldDescr::ftText));  // free again
    EXPECT_EQ(descr.GetFieldIndex(L"name"), 2);
}

TEST(DbTableDataTest, AddDeleteBindAndSizes) {
    Table t({{L"n", DbFieldDescr::ftLong}, {L"s", DbFieldDescr::ftText}});
    EXPECT_FALSE(t.data.IsInitialized());
    EXPECT_EQ(t.data.AddRows(3), 0u);
    EXPECT_EQ(t.data.AddRow(), 3u);
    EXPECT_TRUE(t.data.IsInitialized());
    EXPECT_TRUE(t.data.IsChanged());
    ASSERT_EQ(t.data.size(), 4u);
    EXPECT_EQ(t.data[3]->GetField(1).GetType(), VT_BSTR);  // with the defaults
    for (int i = 0; i < 4; ++i) {
        t.data.GetRow(i)->GetField(0).GetVariant() = i;
    }
    t.data.Sync();
    t.data.DeleteRow(4);  // past the end: nothing, and no change
    EXPECT_FALSE(t.data.IsChanged());
    t.data.DeleteRow(1);
    EXPECT_TRUE(t.data.IsChanged());
    EXPECT_EQ(t.data.GetRows()->GetOrder(), (Positions{0, 1, 2}));
    EXPECT_EQ(t.data.GetRow(0)->GetField(0).GetValue().lVal, 0);
    EXPECT_EQ(t.data.GetRow(1)->GetField(0).GetValue().lVal, 2);

    const uint64_t row = (8 + 2 * 22 + 8) + (8 + 29) + (8 + 5);
    EXPECT_EQ(t.data.CalcSize(), (8u + 22 + 26) + (8 + 3 * 22) + 3 * row);

    // A bound container shows rows of the source; one added through it lands
    // in the source too, owned by it.
    DbRows* source = t.data.GetRows();
    DbTableData view(nullptr, &t.descr);
    Positions order{2, 0};
    view.Bind(source, order);
    DbRows* bound = view.GetRows();
    ASSERT_EQ(view.size(), 2u);
    EXPECT_EQ(view.GetRow(0), source->GetRow(2));
    EXPECT_EQ(view.GetRow(1), source->GetRow(0));

    EXPECT_EQ(bound->AddRow(true), 2u);
    EXPECT_EQ(source->GetRowsCount(), 4u);
    EXPECT_EQ(bound->GetLastRow(), source->GetLastRow());
    EXPECT_EQ(source->GetLastRow()->GetParent(), source);
    EXPECT_EQ(bound->GetOrder(), (Positions{2, 0, 3}));

    t.data.Sync();
    t.data.Clear();
    EXPECT_EQ(t.data.size(), 0u);
    EXPECT_TRUE(t.data.IsChanged());
}

TEST(DbTableRowTest, ValueComparison) {
    const CComVariant one(1);
    const CComVariant two(2);
    const CComVariant null = testtables::Null();
    EXPECT_FALSE(DbTableRow::IsEqual(one, CComVariant(1.0)));  // different types
    EXPECT_TRUE(DbTableRow::IsEqual(null, null));
    EXPECT_FALSE(DbTableRow::IsGreater(null, null));
    EXPECT_TRUE(DbTableRow::IsGreater(two, CComVariant(1.0)));

    Table t({{L"name", DbFieldDescr::ftText}, {L"n", DbFieldDescr::ftLong}},
            {{CComVariant(L"Beam"), one}, {CComVariant(L"BEAM"), two}});
    DbTableRow& a = *t.data[0];
    DbTableRow& b = *t.data[1];
    a.SetValue(L"missing", two);  // no such field: nothing happens
    const Positions both{0, 1};
    EXPECT_EQ(a.CompareEx(Positions{0}, b), DbTableRow::cmpEqual);
    EXPECT_EQ(a.CompareEx(both, b), DbTableRow::cmpLess);
    EXPECT_EQ(b.CompareEx(both, a), DbTableRow::cmpGreater);
    EXPECT_FALSE(a.Compare(both, b));
    EXPECT_TRUE(b.Compare(both, a));

    const auto same = [](const CComVariant& l, const CComVariant& r) { return l == r; };
    EXPECT_FALSE(a.Compare(std::vector<CString>{L"NAME"}, same, b));  // exact, with case

    const CComVariant keys[] = {CComVariant(L"beam"), two};
    EXPECT_EQ(DbTableRow::CompareEx(both, keys, 2, a), DbTableRow::cmpGreater);
    EXPECT_EQ(DbTableRow::CompareEx(both, keys, 1, a), DbTableRow::cmpEqual);
}

TEST(DbTableDataTest, SpatialIndex) {
    Table t({{L"key", DbFieldDescr::ftLong}});
    DbTableDescr::DbIndex* index = t.descr.CreateIndex(CString(L"byKey"));
    index->m_fieldPositions.push_back(0);
    uint64_t pos = 99;
    const auto search = [&](const CComVariant& key) {
        return t.data.SpatialIndex(index, &key, 1, pos);
    };
    EXPECT_EQ(search(CComVariant(3)), DbTableRow::cmpEqual);
    EXPECT_EQ(pos, 0u);  // empty table: callers check the count first

    testtables::Fill(t.descr, t.data, {}, {{1}, {3}, {5}});
    // key, result, position
    const std::tuple<int, DbTableRow::eCmpResult, uint64_t> cases[] = {
        {3, DbTableRow::cmpEqual, 1},
        {4, DbTableRow::cmpLess, 2},
        {6, DbTableRow::cmpGreater, 3},
        {0, DbTableRow::cmpLess, 0}};
    for (const auto& [key, result, at] : cases) {
        EXPECT_EQ(search(CComVariant(key)), result) << key;
        EXPECT_EQ(pos, at) << key;
    }
    // The index's own order, when filled, is the searched sequence.
    t.data[0]->GetField(0).GetVariant() = 5;  // the rows hold 5, 3, 1
    t.data[2]->GetField(0).GetVariant() = 1;
    index->m_rowOrder = {2, 1, 0};
    EXPECT_EQ(search(CComVariant(5)), DbTableRow::cmpEqual);
    EXPECT_EQ(pos, 2u);
    index->m_rowOrder.clear();

    // Insertion through the sorted-list form keeps the list in order (the
    // later of equal keys goes first).
    t.data.AddRows(2);
    const double values[] = {4.5, -1, 9, 4.5, 0};
    Positions sorted;
    for (uint64_t i = 0; i < 5; ++i) {
        t.data[i]->GetField(0).GetVariant() = values[i];
        const std::vector<CComVariant> keys{values[i]};
        const uint64_t at = t.data.SpatialIndex(sorted, index->m_fieldPositions, keys);
        sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(at), i);
    }
    EXPECT_EQ(sorted, (Positions{1, 4, 3, 0, 2}));
}

// Rows are written under the fields' safe names and read by name in any
// order: unknown attributes are ignored, missing ones give the field's
// default and reals accept either separator.
TEST(DbTableDataTest, XmlRowsBySafeName) {
    const std::vector<testtables::Column> columns = {{L"the name", DbFieldDescr::ftText},
                                                     {L"n", DbFieldDescr::ftLong},
                                                     {L"w(kg)", DbFieldDescr::ftDouble},
                                                     {L"ok", DbFieldDescr::ftBoolean}};
    Table t(columns, {{CComVariant(L"I\x17c <&>\""), CComVariant(-5), CComVariant(2.25)}});
    pugi::xml_document doc;
    pugi::xml_node table = doc.append_child("table");
    ASSERT_TRUE(t.data.Save(doc, table));
    EXPECT_FALSE(t.data.Save(doc, pugi::xml_node()));
    const pugi::xml_node row = table.first_child();
    EXPECT_STREQ(row.attribute("the_name").value(), "I\xc5\xbc <&>\"");
    EXPECT_STREQ(row.attribute("w_LP_kg_RP_").value(), "2.25");
    EXPECT_STREQ(row.attribute("ok").value(), "false");

    pugi::xml_node extra = table.append_child("row");
    extra.append_attribute("w_LP_kg_RP_").set_value("1,5");
    extra.append_attribute("unknown").set_value("x");
    extra.append_attribute("n").set_value("12");
    Table copy(columns);
    ASSERT_TRUE(copy.data.Load(table));
    EXPECT_FALSE(copy.data.IsChanged());
    ASSERT_EQ(copy.data.size(), 2u);
    const DbTableRow& loaded = *copy.data[1];
    EXPECT_EQ(loaded.GetField(1).GetValue().lVal, 12);
    EXPECT_EQ(loaded.GetField(2).GetValue().dblVal, 1.5);
    EXPECT_EQ(loaded.GetField(3).GetType(), VT_BOOL);
}

}  // namespace
