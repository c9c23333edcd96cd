// The registry of tables and queries: creation, lookups, cascading deletes,
// renames, query synchronisation, the log and copies of a whole database.
#include "files.h"

#include <string>
#include <vector>

namespace {

using testtables::TakeLog;
using Names = std::vector<std::string>;

// The entries' names in registry order. On the way, every entry's index must
// be its position, so that positions run without gaps.
Names NamesInOrder(DbDatabase& db) {
    Names names;
    for (size_t i = 0; i < static_cast<size_t>(db.GetTablesCount()); ++i) {
        names.push_back(db.GetTableName(i).ToUtf8());
        const DbTableInfo* entry = db.GetTableInfo(db.GetTableName(i));
        if (entry == nullptr) {
            ADD_FAILURE() << "no entry at " << i;
            continue;
        }
        EXPECT_EQ(entry->index, i) << names.back();
        EXPECT_EQ(db.GetTableDescr(i), entry->descr);
        EXPECT_EQ(db.FindTableInfo(entry->data), entry);
    }
    return names;
}

}  // namespace

TEST(Registry, CreationDuplicatesLookupsAndRenames) {
    DbDatabase db;
    ASSERT_TRUE(db.Create(L""));  // no file: nothing is written
    EXPECT_EQ(NamesInOrder(db), (Names{"Header", "Properties"}));
    EXPECT_EQ(db.GetHeaderDescr()->GetFieldCount(), 6u);
    EXPECT_EQ(db.GetHeaderData()->size(), 1u);
    TakeLog(db);

    DbTableInfo* parts = db.CreateTable(L"Parts", DbTableInfo::TABLE);
    ASSERT_NE(parts, nullptr);
    EXPECT_EQ(db.CreateTable(L"parts", DbTableInfo::TABLE), nullptr);
    // The log is joined without a break after the last line, and handed over
    // behind what the caller holds.
    EXPECT_EQ(db.GetErrorLog(),
              L"Table 'Parts' created, index = 2, type = TABLE, sql = ''\r\n"
              L"Table 'parts' already in database, cannot add another 'parts' table");
    std::vector<CString> log{L"kept"};
    db.GetError(log);
    EXPECT_EQ(log.size(), 3u);
    EXPECT_EQ(log[0], L"kept");
    EXPECT_EQ(db.GetTableInfo(L"PARTS"), parts);
    EXPECT_EQ(db.GetTableData(CString(L"nothing")), nullptr);
    EXPECT_EQ(db.GetTableData(size_t{3}), nullptr);
    EXPECT_EQ(db.GetTableName(3), L"");

    // A query's entry records its text and the entry it was computed from.
    DbTableInfo* query =
        db.CreateTable(L"Query_1", DbTableInfo::QUERY, L"select * from parts", parts);
    ASSERT_NE(query, nullptr);
    EXPECT_EQ(TakeLog(db)[0],
              "Table 'Query_1' created, index = 3, type = QUERY, sql = 'select * from parts'");

    // A rename moves the entry itself; a name that is taken is refused.
    ASSERT_TRUE(db.RenameTable(L"parts", L"Girders"));
    EXPECT_EQ(TakeLog(db)[0], "Table 'Parts' renamed to 'Girders'");
    EXPECT_EQ(db.GetTableInfo(L"GIRDERS"), parts);
    EXPECT_EQ(query->related, parts);
    EXPECT_FALSE(db.IsTable(L"parts"));
    const DbTableInfo* header = db.GetTableInfo(L"Header");
    EXPECT_FALSE(db.RenameTable(L"Girders", L"header"));
    EXPECT_EQ(TakeLog(db).size(), 1u);
    EXPECT_EQ(db.GetTableInfo(L"header"), header);
    EXPECT_FALSE(db.RenameTable(L"missing", L"x"));
    ASSERT_TRUE(db.RenameTable(L"girders", L"GIRDERS"));  // a change of case only
    EXPECT_EQ(db.GetTableInfo(L"girders"), parts);
    EXPECT_EQ(NamesInOrder(db), (Names{"Header", "Properties", "GIRDERS", "Query_1"}));
}

// Queries computed from queries follow the changes of the table at the end
// of the chain, and go with it.
TEST(Registry, QueryChainsFollowTheirTableAndGoWithIt) {
    DbDatabase db;
    DbTableInfo* a = db.CreateTable(L"a", DbTableInfo::TABLE);
    DbTableInfo* b = db.CreateTable(L"b", DbTableInfo::TABLE);
    DbTableInfo* qa = db.CreateTable(L"qa", DbTableInfo::QUERY, L"select x from a", a);
    DbTableInfo* qb = db.CreateTable(L"qb", DbTableInfo::QUERY, L"select x from b", b);
    DbTableInfo* qqa = db.CreateTable(L"qqa", DbTableInfo::QUERY, L"select x from qa", qa);
    DbTableInfo* qqqa = db.CreateTable(L"qqqa", DbTableInfo::QUERY, L"select x from qqa", qqa);
    EXPECT_TRUE(qqqa->IsRelatedWith(a));
    EXPECT_FALSE(qqqa->IsRelatedWith(b));
    EXPECT_FALSE(a->IsRelatedWith(a));

    qa->syncId = a->data->GetChangeId();
    qqqa->syncId = qqa->syncId = -12345;  // never looked at: qa's stamp decides
    EXPECT_TRUE(a->IsQuerySync());
    EXPECT_TRUE(qqqa->IsQuerySync());
    a->data->AddRow();
    EXPECT_FALSE(qa->IsQuerySync());
    EXPECT_FALSE(qqqa->IsQuerySync());
    // Detached from any table a query has nothing to follow.
    EXPECT_TRUE(
        DbTableInfo(L"loose", DbTableInfo::QUERY, 0, L"", nullptr, nullptr, nullptr).IsQuerySync());

    db.DeleteTable(L"A");
    EXPECT_EQ(NamesInOrder(db), (Names{"Header", "Properties", "b", "qb"}));
    EXPECT_FALSE(db.IsTable(L"qqqa"));
    EXPECT_EQ(db.GetTableInfo(L"b"), b);
    EXPECT_EQ(db.GetTableInfo(L"qb"), qb);

    db.DeleteTable(L"unknown");
    db.DeleteTable(L"qb");  // a query alone
    EXPECT_EQ(NamesInOrder(db), (Names{"Header", "Properties", "b"}));
}

TEST(Registry, CopiesAreDeepAndIndependent) {
    ScratchDir dir;
    const LONG open = DbDatabase::m_openDbCount;
    DbDatabase original;
    original.Create(dir.File("copy.xml"));
    DbTableInfo* table = original.CreateTable(L"t", DbTableInfo::TABLE);
    testtables::Fill(*table->descr, *table->data,
                     {{L"name", DbFieldDescr::ftText}, {L"mass", DbFieldDescr::ftDouble}},
                     {{L"a", 0.0}, {L"b", 1.5}, {L"c", 3.0}});
    table->descr->GetField(0).SetKey(true);
    DbTableInfo* query = original.CreateTable(L"q", DbTableInfo::QUERY, L"select * from t", table);
    std::vector<uint64_t> order = {2, 0};
    query->data->Bind(table->data->GetRows(), order);
    query->syncId = table->data->GetChangeId();
    {
        DbDatabase copy(original);
        EXPECT_EQ(DbDatabase::m_openDbCount, open + 2);
        EXPECT_EQ(copy.GetName(), original.GetName());
        EXPECT_EQ(copy.GetErrorLog(), original.GetErrorLog());
        ASSERT_EQ(NamesInOrder(copy), (Names{"Header", "Properties", "t", "q"}));
        DbTableInfo* copiedTable = copy.GetTableInfo(L"t");
        DbTableInfo* copiedQuery = copy.GetTableInfo(L"q");
        EXPECT_EQ(copiedQuery->related, copiedTable);
        EXPECT_TRUE(copiedQuery->IsQuerySync());
        EXPECT_TRUE(copiedTable->descr->GetField(L"name").IsKey());
        // The bound answer shows the copied rows in the same order.
        ASSERT_EQ(copiedQuery->data->size(), 2u);
        EXPECT_EQ(copiedQuery->data->GetRow(0), copiedTable->data->GetRow(2));

        (*copiedTable->data->GetRow(0))[1].SetValue(CComVariant(99.0));
        EXPECT_EQ((*table->data->GetRow(0))[1].GetValue().dblVal, 0.0);
        EXPECT_FALSE(copiedQuery->IsQuerySync());
        EXPECT_TRUE(query->IsQuerySync());
    }
    EXPECT_EQ(DbDatabase::m_openDbCount, open + 1);
    EXPECT_EQ(original.GetSize(), 8u + 22u * 8u + 8u);  // DbItem part with 8 children, plus 8
}

// Reaching a stale query, or saving, computes it again under its name, in
// its entry and data object; reaching a query over it brings both up to date.
TEST(Registry, StaleQueriesAreRecomputedInPlace) {
    ScratchDir dir;
    DbDatabase db;
    db.Create(dir.File("queries.xml"));
    DbTableInfo* table = db.CreateTable(L"t", DbTableInfo::TABLE);
    testtables::Fill(*table->descr, *table->data, {{L"x", DbFieldDescr::ftLong}}, {{1}, {2}, {3}});
    CString first;
    ASSERT_TRUE(db.Query(L"select x from t where x > 1", first));
    DbTableInfo* query = db.GetTableInfo(first);
    DbTableData* rows = query->data;
    EXPECT_EQ(query->related, table);
    CString second;
    ASSERT_TRUE(db.Query(L"select x from " + first + L" where x > 2", second));
    DbTableInfo* deeper = db.GetTableInfo(second);
    EXPECT_EQ(deeper->related, query);

    testtables::Fill(*table->descr, *table->data, {}, {{5}});
    EXPECT_EQ(db.GetTableData(second)->size(), 2u);
    EXPECT_EQ(db.GetTableInfo(second), deeper);
    EXPECT_EQ(db.GetTableData(first), rows);
    EXPECT_EQ(rows->size(), 3u);

    testtables::Fill(*table->descr, *table->data, {}, {{7}});
    ASSERT_TRUE(db.Save(dir.File("queries.xml")));
    EXPECT_TRUE(query->IsQuerySync());
    EXPECT_EQ(rows->size(), 4u);
}

TEST(Registry, UnreadableMdbSourcesFailAndStayUntouched) {
    ScratchDir dir;
    WriteBytes(dir.Path("cat.mdb"), "not read");
    struct Restore {
        ~Restore() { DbSource::ForceXML = true; }
    } restore;
    DbSource::ForceXML = false;
    const std::string message = DbErrorOf([&] {
        DbDatabase db(dir.File("cat.mdb"));
        ASSERT_TRUE(db.GetSource()->IsMdbBased());
        db.GetTablesCount();  // read through ODBC: no Access file
    });
    EXPECT_NE(message.find(dir.Path("cat.mdb")), std::string::npos) << message;
    EXPECT_EQ(ReadBytes(dir.Path("cat.mdb")), "not read");
}
