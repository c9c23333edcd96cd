#include <korvan/model.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

// A table without a database: nobody is told of field changes and nothing is
// logged.
struct Table {
    Table() : descr(nullptr), data(nullptr, &descr) {}
    DbTableDescr descr;
    DbTableData data;
};

TEST(DbTableDescrTest, FieldsByNameInAnyCase) {
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

    EXPECT_FALSE(descr.DeleteField(-1));
    ASSERT_TRUE(descr.DeleteField(0));
    EXPECT_EQ(descr.GetFieldIndex(L"weight"), 1);
    EXPECT_EQ(descr.GetField(1).GetIndex(), 1);
    EXPECT_TRUE(descr.CreateField(L"NAME", false, DbFieldDescr::ftText));  // free again
    EXPECT_EQ(descr.GetFieldIndex(L"name"), 2);
}

TEST(DbTableDescrTest, Indexes) {
    DbTableDescr descr(nullptr);
    descr.CreateField(L"a", false, DbFieldDescr::ftLong);
    descr.CreateField(L"b", false, DbFieldDescr::ftText);

    EXPECT_FALSE(descr.CreateIndex(L"", CString(L"a")));
    EXPECT_FALSE(descr.CreateIndex(L"byAC", std::vector<CString>{L"a", L"c"}));
    EXPECT_EQ(descr.FindIndex(L"byAC"), nullptr);

    ASSERT_TRUE(descr.CreateIndex(L"Key", std::vector<CString>{L"B", L"a"}));
    DbTableDescr::DbIndex* index = descr.FindIndex(L"KEY");
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(index->m_fieldPositions, (std::vector<uint64_t>{1, 0}));

    // Deliberate: creating an existing index succeeds and keeps the first.
    EXPECT_TRUE(descr.CreateIndex(L"kEY", CString(L"a")));
    EXPECT_EQ(descr.FindIndex(L"key"), index);
    EXPECT_EQ(index->m_fieldPositions.size(), 2u);
    EXPECT_EQ(descr.CreateIndex(CString(L"KEY")), index);
    EXPECT_EQ(descr.CreateIndex(CString(L"")), nullptr);

    EXPECT_TRUE(descr.DeleteIndex(L"KEY"));
    EXPECT_FALSE(descr.DeleteIndex(L"key"));
}

TEST(DbTableDataTest, AddDeleteAndSizes) {
    Table t;
    t.descr.CreateField(L"n", false, DbFieldDescr::ftLong);
    t.descr.CreateField(L"s", false, DbFieldDescr::ftText);
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
    t.data.GetRows()->AddRow(false);
    EXPECT_EQ(t.data.GetRows()->GetLastRow()->GetField(0).GetType(), VT_EMPTY);
    t.data.DeleteRow(4);

    t.data.Sync();
    t.data.DeleteRow(4);  // past the end: nothing
    EXPECT_FALSE(t.data.IsChanged());
    t.data.DeleteRow(1);
    EXPECT_TRUE(t.data.IsChanged());
    EXPECT_EQ(t.data.GetRows()->GetOrder(), (std::vector<uint64_t>{0, 1, 2}));
    std::vector<LONG> left;
    for (int i = 0; i < 3; ++i) {
        left.push_back(t.data.GetRow(i)->GetField(0).GetValue().lVal);
    }
    EXPECT_EQ(left, (std::vector<LONG>{0, 2, 3}));

    const uint64_t row = (8 + 2 * 22 + 8) + (8 + 29) + (8 + 5);
    EXPECT_EQ(t.data.CalcSize(), (8u + 22 + 26) + (8 + 3 * 22) + 3 * row);

    t.data.Sync();
    t.data.Clear();
    EXPECT_EQ(t.data.size(), 0u);
    EXPECT_TRUE(t.data.IsChanged());
}

TEST(DbRowsTest, BoundContainersShareTheSourceRows) {
    Table t;
    t.descr.CreateField(L"n", false, DbFieldDescr::ftLong);
    DbRows* source = t.data.GetRows();
    source->AddRows(3, true);

    DbTableData view(nullptr, &t.descr);
    std::vector<uint64_t> order{2, 0};
    view.Bind(source, order);
    DbRows* bound = view.GetRows();
    EXPECT_TRUE(bound->IsBinded());
    ASSERT_EQ(view.size(), 2u);
    EXPECT_EQ(view.GetRow(0), source->GetRow(2));
    EXPECT_EQ(view.GetRow(1), source->GetRow(0));

    // A row added through the view lands in the source too, owned by it.
    EXPECT_EQ(bound->AddRow(true), 2u);
    EXPECT_EQ(source->GetRowsCount(), 4u);
    EXPECT_EQ(bound->GetLastRow(), source->GetLastRow());
    EXPECT_EQ(source->GetLastRow()->GetParent(), source);
    EXPECT_EQ(bound->GetOrder(), (std::vector<uint64_t>{2, 0, 3}));
}

TEST(DbTableRowTest, ValueComparison) {
    const CComVariant one(1);
    const CComVariant two(2);
    CComVariant null;
    null.vt = VT_NULL;
    EXPECT_TRUE(DbTableRow::IsEqual(CComVariant(L"ABC"), CComVariant(L"abc")));
    EXPECT_FALSE(DbTableRow::IsEqual(one, CComVariant(1.0)));  // different types
    EXPECT_TRUE(DbTableRow::IsEqual(null, null));
    EXPECT_FALSE(DbTableRow::IsGreater(null, null));
    EXPECT_TRUE(DbTableRow::IsGreater(two, CComVariant(1.0)));

    Table t;
    t.descr.CreateField(L"name", false, DbFieldDescr::ftText);
    t.descr.CreateField(L"n", false, DbFieldDescr::ftLong);
    t.data.AddRows(2);
    DbTableRow& a = *t.data[0];
    DbTableRow& b = *t.data[1];
    a.SetValue(L"name", CComVariant(L"Beam"));
    b.SetValue(L"name", CComVariant(L"BEAM"));
    a.SetValue(L"n", one);
    b.SetValue(L"n", two);
    a.SetValue(L"missing", two);  // no such field: nothing happens
    const std::vector<uint64_t> both{0, 1};
    EXPECT_EQ(a.CompareEx(std::vector<uint64_t>{0}, b), DbTableRow::cmpEqual);
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
    Table t;
    t.descr.CreateField(L"key", false, DbFieldDescr::ftLong);
    DbTableDescr::DbIndex* index = t.descr.CreateIndex(CString(L"byKey"));
    index->m_fieldPositions.push_back(0);
    uint64_t pos = 99;
    CComVariant key(3);
    EXPECT_EQ(t.data.SpatialIndex(index, &key, 1, pos), DbTableRow::cmpEqual);
    EXPECT_EQ(pos, 0u);  // empty table: callers check the count first

    t.data.AddRows(3);
    for (int i = 0; i < 3; ++i) {
        t.data.GetRow(i)->GetField(0).GetVariant() = 1 + 2 * i;  // 1, 3, 5
    }
    const struct {
        int key;
        DbTableRow::eCmpResult result;
        uint64_t pos;
    } cases[] = {{3, DbTableRow::cmpEqual, 1},
                 {4, DbTableRow::cmpLess, 2},
                 {6, DbTableRow::cmpGreater, 3},
                 {0, DbTableRow::cmpLess, 0}};
    for (const auto& c : cases) {
        key = c.key;
        EXPECT_EQ(t.data.SpatialIndex(index, &key, 1, pos), c.result) << c.key;
        EXPECT_EQ(pos, c.pos) << c.key;
    }
    // The index's own order, when filled, is the searched sequence.
    for (int i = 0; i < 3; ++i) {
        t.data.GetRow(i)->GetField(0).GetVariant() = 5 - 2 * i;
    }
    index->m_rowOrder = {2, 1, 0};
    key = 5;
    EXPECT_EQ(t.data.SpatialIndex(index, &key, 1, pos), DbTableRow::cmpEqual);
    EXPECT_EQ(pos, 2u);
    index->m_rowOrder.clear();

    // Text keys match without regard to case.
    const wchar_t* const codes[] = {L"ABC", L"abd", L"xyz"};
    for (int i = 0; i < 3; ++i) {
        t.data.GetRow(i)->GetField(0).GetVariant() = codes[i];
    }
    key = CComVariant(L"abc");
    EXPECT_EQ(t.data.SpatialIndex(index, &key, 1, pos), DbTableRow::cmpEqual);
    EXPECT_EQ(pos, 0u);

    // Insertion through the sorted-list forms keeps the list in order.
    t.data.AddRows(2);
    const double values[] = {4.5, -1, 9, 4.5, 0};
    for (uint64_t i = 0; i < 5; ++i) {
        t.data[i]->GetField(0).GetVariant() = values[i];
    }
    std::vector<uint64_t> byRow;
    std::vector<uint64_t> byKey;
    for (uint64_t i = 0; i < 5; ++i) {
        const uint64_t at = t.data.SpatialIndex(byRow, index->m_fieldPositions, *t.data[i]);
        byRow.insert(byRow.begin() + static_cast<std::ptrdiff_t>(at), i);
        const std::vector<CComVariant> keys{t.data[i]->GetField(0).GetValue()};
        const uint64_t keyAt = t.data.SpatialIndex(byKey, index->m_fieldPositions, keys);
        byKey.insert(byKey.begin() + static_cast<std::ptrdiff_t>(keyAt), i);
    }
    EXPECT_EQ(byRow, (std::vector<uint64_t>{1, 4, 3, 0, 2}));
    EXPECT_EQ(byKey, byRow);
}

TEST(DbTableDataTest, XmlRoundTrip) {
    Table t;
    t.descr.CreateField(L"the name", true, DbFieldDescr::ftText);
    t.descr.CreateField(L"n", false, DbFieldDescr::ftLong);
    t.descr.CreateField(L"w(kg)", false, DbFieldDescr::ftDouble);
    t.descr.CreateField(L"ok", false, DbFieldDescr::ftBoolean);
    t.descr.CreateField(L"blob", false, DbFieldDescr::ftBinary);
    t.data.AddRows(2);
    DbTableRow& first = *t.data[0];
    const wchar_t* const texts[] = {L"I\x17c 100 <&>\"", L"-5", L"2.25", L"true", L"AAEC"};
    for (int f = 0; f < 5; ++f) {
        first.SetValue(t.descr.GetField(f).GetName(), CString(texts[f]));
    }

    pugi::xml_document doc;
    pugi::xml_node structure = doc.append_child("structure");
    pugi::xml_node table = doc.append_child("table");
    ASSERT_TRUE(t.descr.Save(doc, structure));
    ASSERT_TRUE(t.data.Save(doc, table));
    const pugi::xml_node row = table.first_child();
    EXPECT_STREQ(row.attribute("the_name").value(), "I\xc5\xbc 100 <&>\"");
    EXPECT_STREQ(row.attribute("w_LP_kg_RP_").value(), "2.25");
    EXPECT_STREQ(row.next_sibling().attribute("ok").value(), "false");
    EXPECT_FALSE(t.data.Save(doc, pugi::xml_node()));

    // Attributes in any order, unknown ones ignored, missing ones give the
    // field's default; reals accept either separator.
    pugi::xml_node extra = table.append_child("row");
    extra.append_attribute("w_LP_kg_RP_").set_value("1,5");
    extra.append_attribute("unknown").set_value("x");
    extra.append_attribute("n").set_value("12");

    Table copy;
    ASSERT_TRUE(copy.descr.Load(structure));
    ASSERT_TRUE(copy.data.Load(table));
    EXPECT_TRUE(copy.descr.GetField(0).IsKey());
    EXPECT_FALSE(copy.data.IsChanged());
    ASSERT_EQ(copy.data.size(), 3u);
    for (uint64_t f = 0; f < 5; ++f) {
        CString text;
        copy.data[0]->GetField(f).ValueToString(text);
        EXPECT_EQ(text, CString(texts[f])) << f;
        EXPECT_EQ(copy.data[0]->GetField(f).GetType(), first.GetField(f).GetType()) << f;
    }
    const DbTableRow& loaded = *copy.data[2];
    EXPECT_EQ(loaded.GetField(1).GetValue().lVal, 12);
    EXPECT_EQ(loaded.GetField(2).GetValue().dblVal, 1.5);
    EXPECT_EQ(loaded.GetField(3).GetType(), VT_BOOL);
}

}  // namespace
