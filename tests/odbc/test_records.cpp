// Access records: the tagged slots of a column, name lookups with the shared
// fallback column, the typed getters, record comparison and ordering; and the
// language mappings.
#include "odbc_tests.h"

#include <clocale>
#include <cstring>

TEST(AccessColumn, AssignmentSetsOneSlotAndTheTag) {
    DBACCESS_COLUMN column(L"T1.Price");
    EXPECT_EQ(column.type, 0);
    EXPECT_EQ(column.name, L"T1.Price");
    column = 7L;
    column = 2.5f;  // the long slot stays
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeFloat);
    EXPECT_EQ(column.longValue, 7);
    EXPECT_EQ(column.floatValue, 2.5f);
    column = true;
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeInt);
    EXPECT_EQ(column.intValue, 1);
    column = 4;
    EXPECT_EQ(column.intValue, 4);
    column = 1.25;
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeDouble);
    column = L"text";
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeString);
    EXPECT_EQ(column.stringValue, L"text");
    CByteArray bytes;
    bytes.Add(1);
    bytes.Add(2);
    column = bytes;
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeBinary);
    EXPECT_EQ(column.binaryValue.GetSize(), 2);
    EXPECT_EQ(DBACCESS_COLUMN::SIZE(), 80);
}

TEST(AccessColumn, SetFromDriverValuesByKind) {
    CDBVariant value;
    DBACCESS_COLUMN column;
    column.Set(value);  // null
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeString);
    EXPECT_EQ(column.stringValue, L"");
    EXPECT_TRUE(column.IsNull());

    value.m_dwType = DBVT_SHORT;
    value.m_iVal = -3;
    column.Set(value);
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeShort);
    EXPECT_EQ(column.shortValue, -3);
    EXPECT_FALSE(column.IsNull());

    value.m_dwType = DBVT_SINGLE;
    value.m_fltVal = 0.5f;
    column.Set(value);
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeFloat);  // tag 6, not the kind number 5

    value.m_dwType = DBVT_ASTRING;
    value.m_pstringA = new std::string(
        "Gr\xC3\xBC\xC3\x9F"
        "e");
    column.Set(value);
    EXPECT_EQ(column.stringValue, L"Grüße");
    value.Clear();

    value.m_dwType = DBVT_WSTRING;
    value.m_pstring = nullptr;  // a missing string
    column.Set(value);
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeString);
    EXPECT_EQ(column.stringValue, L"");

    column = 9L;
    value.m_dwType = DBVT_BINARY;
    value.m_pbinary = nullptr;  // no block: the column stays as it was
    column.Set(value);
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeLong);
    value.m_pbinary = new CLongBinary;
    value.m_pbinary->m_hData.Add(7);
    value.m_pbinary->m_hData.Add(8);
    value.m_pbinary->m_dwDataLength = 1;
    column.Set(value);
    EXPECT_EQ(column.type, DBACCESS_COLUMN::typeBinary);
    ASSERT_EQ(column.binaryValue.GetSize(), 1);
    EXPECT_EQ(column.binaryValue[0], 7);
    value.Clear();

    for (DWORD kind : {DBVT_UCHAR, DBVT_DATE}) {
        value.m_dwType = kind;
        value.m_chVal = 1;
        column.Set(value);
        EXPECT_EQ(column.type, 0) << kind;
        value.m_dwType = DBVT_NULL;
    }
}

TEST(AccessColumn, ComparisonsFollowTheTag) {
    DBACCESS_COLUMN a(L"x");
    DBACCESS_COLUMN b(L"x");
    a = 3L;
    b = 3L;
    EXPECT_TRUE(a == b);
    b.binaryValue.Add(1);  // binary slots are not compared
    EXPECT_TRUE(a == b);
    b.name = L"y";
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a.equal(b));  // names are not compared
    EXPECT_FALSE(a < b);
    EXPECT_TRUE(a > b);  // equal values under different names are "greater"
    b = 4L;
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(a > b);
    a = CString(L"abc");
    b = CString(L"ABC");
    EXPECT_FALSE(a.equal(b));  // texts are case-sensitive
    EXPECT_FALSE(a < b);
    DBACCESS_COLUMN none;
    EXPECT_FALSE(none.equal(none));
    EXPECT_FALSE(none < none);
}

TEST(AccessRecord, LookupsGettersAndTheSharedFallback) {
    DBACCESS_RECORD record;
    record[L"T1.Price"] = 2.5;
    record[L"Count"] = 12L;
    record[L"Flag"] = true;
    EXPECT_EQ(record.size(), 3u);
    EXPECT_EQ(record.findIdx(L"Price"), 0);  // an unqualified name finds a qualified column
    EXPECT_EQ(record.findIdx(L"T1.Price"), 0);
    EXPECT_EQ(record.findIdx(L"price"), -1);  // case-sensitive

    DBACCESS_RECORD plain;
    plain[L"Price"] = 1.0;
    EXPECT_EQ(plain.findIdx(L"T1.Price"), -1);

    EXPECT_EQ(record.GetDouble(L"Price"), 2.5);
    EXPECT_EQ(record.GetLong(L"Count"), 12);
    EXPECT_EQ(record.GetBool(L"Flag"), 1);
    EXPECT_EQ(record.GetInt(L"Flag"), 0);  // the short slot, not intValue
    record[L"Short"].shortValue = -1;
    EXPECT_EQ(record.GetInt(L"Short"), 65535);  // widened without sign
    EXPECT_EQ(record.GetLong(L"Missing"), 0);
    EXPECT_EQ(record.GetString(L"Missing"), L"");

    // Writes through the non-const fallback are seen by every later miss.
    record.find(L"Missing").longValue = 5;
    EXPECT_EQ(record.find(L"Other").longValue, 5);
    const DBACCESS_RECORD& constant = record;
    EXPECT_EQ(constant.find(L"Other").longValue, 0);  // the const form has its own
    record.find(L"Missing").longValue = 0;

    record[L"Alt"] = 1.5f;
    EXPECT_EQ(record.GetFloatEx(L"Missing", L"Alt"), 1.5f);
    EXPECT_EQ(record.GetFloatEx(L"Missing", L"Gone"), 0.0f);
}

TEST(AccessRecord, ParamsCopiesAndEquality) {
    DBACCESS_RECORD record;
    IDbParamValues& params = record;
    double value = 0;
    EXPECT_FALSE(params.GetParam(L"x", value));
    params.SetParam(L"x", 2.5);
    ASSERT_EQ(record.size(), 1u);
    EXPECT_EQ(record[0].type, DBACCESS_COLUMN::typeDouble);
    EXPECT_TRUE(params.GetParam(L"x", value));
    EXPECT_EQ(value, 2.5);
    record[0] = 3L;  // GetParam reads the double slot whatever the tag
    EXPECT_TRUE(params.GetParam(L"x", value));
    EXPECT_EQ(value, 2.5);

    DBACCESS_RECORD copy;
    record.GetData(copy);
    EXPECT_TRUE(copy == record);
    copy[L"extra"] = 1;
    EXPECT_TRUE(copy == record);   // only the right record's columns count
    EXPECT_FALSE(record == copy);  // the left record is shorter
    EXPECT_TRUE(record.IsEqual(copy));
    copy[0] = 4L;
    EXPECT_TRUE(copy != record);
}

TEST(AccessRecord, OrderingAndSerializerHelpers) {
    DBACCESS_VECTOR rows;
    const struct {
        long group;
        const wchar_t* name;
    } values[] = {{2, L"b"}, {1, L"z"}, {2, L"a"}, {1, L"z"}};
    for (const auto& v : values) {
        DBACCESS_RECORD record;
        record[L"t.group"] = v.group;
        record[L"name"] = CString(v.name);
        rows.push_back(record);
    }
    std::vector<const wchar_t*> keys = {L"group", L"name"};
    DbSerializer::OrderBy(rows, keys, false);
    std::vector<std::string> order;
    for (const DBACCESS_RECORD& record : rows) {
        order.push_back(std::to_string(record.GetLong(L"group")) +
                        record.GetString(L"name").ToUtf8());
    }
    EXPECT_EQ(order, (std::vector<std::string>{"1z", "1z", "2a", "2b"}));
    DbSerializer::OrderBy(rows, keys, true);
    EXPECT_EQ(rows[0].GetString(L"name"), L"b");

    DBACCESS_VECTOR names;
    std::vector<const wchar_t*> columns = {L"name", L"missing"};
    DbSerializer::Select(rows, names, columns, true);
    ASSERT_EQ(names.size(), 3u);  // the second "z" is left out
    EXPECT_EQ(names[0].size(), 2u);
    EXPECT_EQ(names[0][1].name, L"missing");

    DBACCESS_ALL all;
    EXPECT_TRUE(DbSerializer::CopyTableToDatabase(all, L"T", rows));
    EXPECT_TRUE(DbSerializer::CopyTableToDatabase(all, L"T", names));
    ASSERT_EQ(all.size(), 1u);
    DBACCESS_VECTOR out;
    EXPECT_TRUE(DbSerializer::CopyTableFromDatabase(all, L"T", out));
    EXPECT_EQ(out.size(), 3u);
    EXPECT_FALSE(DbSerializer::CopyTableFromDatabase(all, L"t", out));  // case-sensitive
    EXPECT_TRUE(out.empty());
}

TEST(LangMappings, TableAndConversionUnderTheActiveLanguage) {
    const LangMappings& mappings = LangMappings::Instance();
    EXPECT_EQ(mappings.GetDefault().key, L"C");
    EXPECT_TRUE(mappings.GetDefault().names.empty());
    std::vector<std::string> keys;
    for (const LangMappings::Entry& entry : mappings.GetLanguages()) {
        keys.push_back(entry.key.ToUtf8());
        EXPECT_EQ(entry.kind, 1);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"english", "french", "spanish", "portuguese",
                                              "italian", "romanian", "polish", "russian"}));
    const LangMappings::Entry* french = mappings.Find(L"french");
    ASSERT_NE(french, nullptr);
    std::vector<std::string> names;
    for (const CString& name : french->names) {
        names.push_back(name.ToUtf8());
    }
    // "Desc033" and "desc033" are both kept, lower-cased.
    EXPECT_EQ(names, (std::vector<std::string>{"033", "desc033", "desc033", "desc_33"}));
    EXPECT_EQ(mappings.FindByName(L"DESC_48"), mappings.Find(L"polish"));

    std::setlocale(LC_CTYPE, "C.UTF-8");
    {
        LangMappings::Scope scope(*french);
        EXPECT_EQ(&LangMappings::Active(), french);
        BSTR text = LangMappings::Convert(L"Désignation");
        EXPECT_STREQ(text, L"Désignation");
        SysFreeString(text);
    }
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
    EXPECT_EQ(&LangMappings::Active(), &mappings.GetDefault());
}
