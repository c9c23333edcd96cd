// Copies of descriptors, rows, row containers and table data are deep and
// independent, keep the item tree's registration rules, and binding a
// container that holds rows keeps those rows alive.
#include <korvan/database.h>
#include <korvan/query.h>

#include <gtest/gtest.h>

#include <vector>

#include "tests/model/tables.h"

namespace {

using Positions = std::vector<uint64_t>;
using testtables::Table;
using testtables::TextOf;

CString Text(const DbTableRow& row, uint64_t field) {
    return TextOf(row[field]);
}

TEST(ModelCopies, DescriptorCopiesOwnTheirPartsAndStayUnregistered) {
    DbDatabase db;
    db.Create(L"");
    DbTableDescr* descr = db.CreateTable(L"t", DbTableInfo::TABLE)->descr;
    descr->CreateField(L"name", true, DbFieldDescr::ftText);
    descr->CreateField(L"mass", false, DbFieldDescr::ftDouble);
    ASSERT_TRUE(descr->CreateIndex(L"byMass", CString(L"mass")));
    ASSERT_NE(descr->AddFilter(L"mass", L">", L"2"), nullptr);
    db.Sync();
    const uint64_t dbSize = db.GetSize();

    DbTableDescr copy(*descr);
    EXPECT_EQ(copy.GetParent(), &db);
    EXPECT_EQ(copy.GetDatabase(), &db);
    EXPECT_EQ(db.GetSize(), dbSize) << "a copy is not registered in its parent";
    EXPECT_EQ(copy.CalcSize(), descr->CalcSize()) << "its children are its own fields";
    EXPECT_FALSE(copy.IsChanged());
    ASSERT_EQ(copy.GetFieldCount(), 2u);
    EXPECT_NE(&copy.GetField(1), &descr->GetField(1));
    EXPECT_EQ(copy.GetField(1).GetParent(), &copy);
    EXPECT_EQ(copy.GetField(1).GetIndex(), 1);
    EXPECT_EQ(copy.GetField(L"NAME").GetType(), VT_BSTR);
    EXPECT_TRUE(copy.GetField(0).IsKey());
    ASSERT_NE(copy.FindIndex(L"bymass"), nullptr);
    EXPECT_NE(copy.FindIndex(L"bymass"), descr->FindIndex(L"bymass"));
    EXPECT_EQ(copy.FindIndex(L"bymass")->m_fieldPositions, Positions{1});
    ASSERT_EQ(copy.GetFilters().size(), 1u);
    EXPECT_NE(copy.GetFilters()[0], descr->GetFilters()[0]);

    // Changing the copy leaves the original alone.
    copy.GetField(0).SetName(L"label");
    EXPECT_TRUE(copy.CreateField(L"height", false, DbFieldDescr::ftLong));
    EXPECT_TRUE(copy.DeleteIndex(L"byMass"));
    copy.ClearFilters();
    EXPECT_TRUE(copy.IsChanged());
    EXPECT_FALSE(descr->IsChanged());
    EXPECT_EQ(descr->GetFieldCount(), 2u);
    EXPECT_EQ(descr->GetField(0).GetName(), CString(L"name"));
    EXPECT_NE(descr->FindIndex(L"bymass"), nullptr);
    EXPECT_EQ(descr->GetFilters().size(), 1u);

    // Assignment replaces the parts and keeps the target's own place.
    DbTableDescr target(&db);
    target.CreateField(L"old", false, DbFieldDescr::ftText);
    const uint64_t registered = db.GetSize();
    target = copy;
    EXPECT_EQ(db.GetSize(), registered);
    ASSERT_EQ(target.GetFieldCount(), 3u);
    EXPECT_EQ(target.GetFieldIndex(L"old"), -1);
    EXPECT_EQ(target.GetFieldIndex(L"height"), 2);
    EXPECT_EQ(target.GetField(2).GetParent(), &target);
    EXPECT_EQ(target.CalcSize(), copy.CalcSize());
}

TEST(ModelCopies, RowsContainersAndDataCopyTheirRows) {
    Table t({{L"n", DbFieldDescr::ftLong}, {L"s", DbFieldDescr::ftText}},
            {{CComVariant(1), CComVariant(L"a")},
             {CComVariant(2), CComVariant(L"b")},
             {CComVariant(3), CComVariant(L"c")}});
    DbRows& rows = *t.data.GetRows();
    t.data.Sync();
    rows.GetRow(1)->GetField(1).SetValue(CComVariant(L"B"));  // one unsynchronised cell
    const uint64_t rowsSize = rows.GetSize();

    const DbTableRow row(*rows.GetRow(1));
    EXPECT_EQ(row.GetParent(), &rows);
    EXPECT_EQ(rows.GetSize(), rowsSize);
    EXPECT_EQ(row.GetTableDescr(), &t.descr);
    EXPECT_TRUE(row.IsChanged()) << "the cells' stamps come along";
    EXPECT_EQ(row.GetChangeId(), rows.GetRow(1)->GetChangeId());
    EXPECT_EQ(row.GetField(1).GetParent(), &row);
    EXPECT_EQ(Text(row, 1), CString(L"B"));
    rows.GetRow(1)->GetField(1).SetValue(CComVariant(L"x"));
    EXPECT_EQ(Text(row, 1), CString(L"B"));

    DbRows rowsCopy(rows);
    ASSERT_EQ(rowsCopy.GetRowsCount(), 3u);
    EXPECT_FALSE(rowsCopy.IsBinded());
    EXPECT_EQ(rowsCopy.CalcSize(), rows.CalcSize());
    EXPECT_NE(rowsCopy.GetRow(0), rows.GetRow(0));
    EXPECT_EQ(rowsCopy.GetRow(0)->GetParent(), &rowsCopy);
    rowsCopy.DeleteRow(0);
    rowsCopy.AddRow(true);
    rowsCopy.GetRow(0)->GetField(0).SetValue(CComVariant(20));
    ASSERT_EQ(rows.GetRowsCount(), 3u);
    EXPECT_EQ(Text(*rows.GetRow(0), 0), CString(L"1"));
    EXPECT_EQ(Text(*rows.GetRow(1), 0), CString(L"2"));

    DbTableData dataCopy(t.data);
    EXPECT_EQ(dataCopy.GetRows()->GetParent(), &dataCopy);
    EXPECT_EQ(dataCopy.GetTableDescr(), &t.descr);
    EXPECT_TRUE(dataCopy.IsInitialized());
    EXPECT_EQ(dataCopy.CalcSize(), t.data.CalcSize());
    ASSERT_EQ(dataCopy.size(), 3u);
    dataCopy.GetRow(2)->GetField(1).SetValue(CComVariant(L"z"));
    dataCopy.DeleteRow(0);
    EXPECT_EQ(t.data.size(), 3u);
    EXPECT_EQ(Text(*t.data.GetRow(2), 1), CString(L"c"));

    // A bound container's copy shows the same source rows.
    DbTableData view(nullptr, &t.descr);
    Positions order{2, 0};
    view.Bind(&rows, order);
    const DbRows viewRows(*view.GetRows());
    EXPECT_TRUE(viewRows.IsBinded());
    EXPECT_EQ(viewRows.GetRow(0), rows.GetRow(2));
    EXPECT_EQ(viewRows.GetRow(1), rows.GetRow(0));

    // Assignment replaces the rows and keeps the target's place.
    DbTableData target(nullptr, &t.descr);
    target.AddRows(5);
    target = dataCopy;
    ASSERT_EQ(target.size(), 2u);
    EXPECT_EQ(target.GetRows()->GetParent(), &target);
    EXPECT_EQ(Text(*target.GetRow(1), 1), CString(L"z"));
    EXPECT_NE(target.GetRow(1), dataCopy.GetRow(1));
    DbTableRow assigned(nullptr);
    assigned = *rows.GetRow(2);
    EXPECT_EQ(assigned.GetParent(), nullptr);
    EXPECT_EQ(Text(assigned, 1), CString(L"c"));
}

TEST(ModelCopies, BindingKeepsTheRowsTheContainerHeld) {
    Table t({{L"n", DbFieldDescr::ftLong}},
            {{CComVariant(10)}, {CComVariant(11)}, {CComVariant(12)}});
    DbTableData view(nullptr, &t.descr);
    view.AddRows(2);
    DbTableRow* kept = view.GetRow(0);
    kept->GetField(0).SetValue(CComVariant(7));
    // Another container shows view's own rows.
    DbTableData onView(nullptr, &t.descr);
    Positions all{0, 1};
    onView.Bind(view.GetRows(), all);
    view.Sync();

    Positions order{2};
    view.Bind(t.data.GetRows(), order);
    // The rows were not destroyed: still the container's children, still
    // shown by the container bound to it, and destroyed with the container.
    EXPECT_EQ(kept->GetParent(), view.GetRows());
    EXPECT_EQ(view.GetRows()->GetSize(), 8u + 2 * 22);
    EXPECT_EQ(onView.GetRow(0), kept);
    EXPECT_EQ(Text(*onView.GetRow(0), 0), CString(L"7"));
    kept->GetField(0).SetValue(CComVariant(8));
    EXPECT_TRUE(view.IsChanged());
    // The old positions stay behind the new ones and now name source rows.
    EXPECT_EQ(view.GetRows()->GetOrder(), (Positions{2, 0, 1}));
    EXPECT_EQ(Text(*view.GetRow(0), 0), CString(L"12"));
    EXPECT_EQ(Text(*view.GetRow(1), 0), CString(L"10"));
}

}  // namespace
