// Recordset editing: the add/edit/update/delete cycle with its cursor and
// bookmark adjustments, field values, bound members and the text export.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "recordset_tests.h"

namespace {

using recordsettest::Cells;
using recordsettest::Null;
using recordsettest::RecordsetTest;
using recordsettest::ThrownBy;
using Rows = std::vector<std::vector<std::string>>;

using EditingTest = RecordsetTest;

TEST_F(EditingTest, AddNewAppendsAndEditWritesTheRowNumberedByTheCursor) {
    DbRecordset rs(&db);
    rs.Open(L"t");
    table->descr->CreateIndex(L"bya", L"a");
    ASSERT_TRUE(rs.SetCurrentIndex(L"bya"));
    rs.Move(2);

    // The values go in as they are given: a text into the long column stays
    // a text.
    rs.AddNew();
    CComVariant six(6);
    CComVariant word(L"new");
    rs.SetFieldValue(L"a", six);
    rs.SetFieldValue(1, word);
    rs.SetFieldValue(L"nothing", word);  // passed over
    rs.Update();
    EXPECT_EQ(rs.GetAbsolutePosition(), 5);
    EXPECT_EQ(rs.GetCurrentIndex(), CString());
    EXPECT_EQ(Cells(table->data).back(), (std::vector<std::string>{"6", "new", "0"}));
    rs.MoveFirst();
    rs.SetBookmark(rs.GetLastModifiedBookmark());
    EXPECT_EQ(rs.GetAbsolutePosition(), 5);

    // A pending add is dropped by a move; Update without AddNew or Edit
    // writes nothing.
    rs.AddNew();
    rs.SetFieldValue(L"a", six);
    rs.MoveFirst();
    rs.Update();
    EXPECT_EQ(table->data->size(), 6u);

    // Edit under an index writes the row whose number is the position.
    ASSERT_TRUE(rs.SetCurrentIndex(L"bya"));
    rs.MoveFirst();  // position 0 is row 1 (a = 1)
    rs.Edit();
    CComVariant text(L"1");
    rs.SetFieldValue(L"a", text);
    rs.Update();
    EXPECT_EQ(Cells(table->data)[0], (std::vector<std::string>{"1", "x", "1.5"}));
    EXPECT_EQ(table->data->GetRow(0)->GetField(0).GetType(), VT_BSTR);
    EXPECT_EQ(Cells(table->data)[1][0], "1");
    EXPECT_TRUE(table->data->IsChanged());
}

TEST_F(EditingTest, DeleteMovesTheCursorAndBookmarksBackOne) {
    DbRecordset rs(&db);
    rs.Open(L"t");
    std::map<LONG, uint64_t> marks;
    for (const LONG position : {2, 3, 5}) {
        rs.SetAbsolutePosition(position);
        marks[position] = rs.GetBookmark();
    }
    rs.SetAbsolutePosition(3);
    rs.Delete();
    EXPECT_EQ(rs.GetAbsolutePosition(), 2);
    EXPECT_EQ(table->data->size(), 4u);
    EXPECT_FALSE(rs.IsBookmark(marks[2]));
    ASSERT_TRUE(rs.SetBookmark(marks[3]));
    EXPECT_EQ(rs.GetAbsolutePosition(), 2);
    ASSERT_TRUE(rs.SetBookmark(marks[5]));
    EXPECT_EQ(rs.GetAbsolutePosition(), 4);

    // Under an index the index's order loses the row and closes the gap.
    table->descr->CreateIndex(L"byc", L"c");  // c: 1.5 2.5 0.5 3 = rows 2 0 1 3
    ASSERT_TRUE(rs.SetCurrentIndex(L"byc"));
    rs.MoveFirst();
    rs.Delete();
    EXPECT_EQ(rs.GetAbsolutePosition(), -1);
    EXPECT_EQ(table->descr->FindIndex(L"byc")->m_rowOrder, (std::vector<uint64_t>{0, 1, 2}));
    EXPECT_EQ(Cells(table->data), (Rows{{"3", "x", "1.5"}, {"1", "y", "2.5"}, {"4", "y", "3"}}));

    // Nothing stops deleting before the first row: nothing is there.
    rs.Delete();
    EXPECT_EQ(rs.GetAbsolutePosition(), -2);
    EXPECT_EQ(table->data->size(), 3u);
    rs.MoveLast();
    rs.Delete();
    rs.Delete();
    rs.Delete();
    EXPECT_EQ(table->data->size(), 0u);
    EXPECT_TRUE(rs.IsBOF());
}

TEST_F(EditingTest, OnlyTablesAndAnswersSharingTheirRowsCanBeChanged) {
    DbRecordset shared(&db);
    ASSERT_TRUE(shared.Open(L"select * from t where a > 3"));
    EXPECT_TRUE(shared.CanUpdate());
    shared.Delete();  // the answer's first row is row 3 of t
    EXPECT_EQ(Cells(table->data),
              (Rows{{"3", "x", "1.5"}, {"1", "y", "2.5"}, {"2", "X", "0.5"}, {"4", "y", "3"}}));

    DbRecordset copied(&db);
    ASSERT_TRUE(copied.Open(L"select a from t"));
    EXPECT_FALSE(copied.CanUpdate());
    EXPECT_EQ(ThrownBy([&] { copied.Delete(); }).message,
              "Read only recordset (or database), cannot be modified (Delete operation)");
    copied.Edit();
    EXPECT_EQ(ThrownBy([&] { copied.Update(); }).message,
              "Read only recordset (or database), cannot be modified (Update operation)");

    // A file opened read-only refuses every change.
    const std::string file =
        (std::filesystem::temp_directory_path() / "korvan_recordset_readonly.xml").string();
    ASSERT_TRUE(db.Save(CString(file.c_str())));
    {
        DbDatabase readOnly;
        readOnly.GetSource()->SetFile(CString(file.c_str()), true);
        DbRecordset rs(&readOnly);
        ASSERT_TRUE(rs.Open(L"t"));
        EXPECT_FALSE(rs.CanUpdate());
    }
    std::remove(file.c_str());
}

TEST_F(EditingTest, FieldValuesThrowWhereTheyAreNotThere) {
    DbRecordset rs(&db);
    rs.Open(L"t");
    CComVariant v;
    rs.GetFieldValue(L"B", v);
    EXPECT_EQ(CString(v.bstrVal), CString(L"x"));
    EXPECT_EQ(rs.GetFieldValue(L"c").dblVal, 1.5);
    const auto column = ThrownBy([&] { rs.GetFieldValue(3, v); });
    EXPECT_EQ(column.source, "Db_Recordset");
    EXPECT_EQ(column.message, "Column '3' not found in table 'T'");
    EXPECT_EQ(ThrownBy([&] { rs.GetFieldValue(L"zz"); }).message,
              "Column 'zz' not found in table 'T'");
    rs.MovePrev();
    EXPECT_EQ(ThrownBy([&] { rs.GetFieldValue(0, v); }).message, "Out of recordset range");
    // The name is checked first, the position after.
    EXPECT_EQ(ThrownBy([&] { rs.GetFieldValue(L"zz"); }).message,
              "Column 'zz' not found in table 'T'");
    // Outside AddNew and Edit a known name throws, an unknown one is ignored.
    EXPECT_EQ(ThrownBy([&] { rs.SetFieldValue(L"a", v); }).message,
              "SetFieldValue(...) without proper update operation");
    EXPECT_EQ(ThrownBy([&] { rs.SetFieldValue(L"zz", v); }).message, "");
    EXPECT_EQ(rs.GetFieldInfo(L"C"), &(*table->descr)[2]);
    EXPECT_EQ(rs.GetFieldInfo(3), nullptr);
}

// Every member type of the converters, bound to fields of every type.
class Members : public DbRecordset {
  public:
    explicit Members(DbDatabase* db) : DbRecordset(db) {}

    void InitFieldExchange() override {
        MapClassMember(L"i", &asInt);
        MapClassMember(L"i", &asShort);
        MapClassMember(L"i", &asLong);
        MapClassMember(L"f", &asFloat);
        MapClassMember(L"d", &asDouble);
        MapClassMember(L"f", &floatText);
        MapClassMember(L"d", &doubleText);
        MapClassMember(L"i", &intText);
        MapClassMember(L"t", &text);
        MapClassMember(L"t", &textBytes);
        MapClassMember(L"bin", &bytes);
        MapClassMember(L"flag", &flag);
        MapClassMember(L"flag", &flagInt);
        MapClassMember(L"flag", &flagBytes);
        MapClassMember(L"t", &text);  // bound already: the first binding stays
        MapClassMember(L"flag", &text);
    }
    void Bind(const wchar_t* field, CString* member) { MapClassMember(field, member); }

    int asInt = -1;
    short asShort = -1;
    long asLong = -1;
    float asFloat = -1;
    double asDouble = -1;
    CString floatText, doubleText, intText, text;
    std::vector<unsigned char> textBytes, bytes, flagBytes;
    bool flag = false;
    int flagInt = -1;
};

class BindingTest : public RecordsetTest {
  protected:
    BindingTest() {
        DbTableInfo* info =
            querytest::MakeTable(db, L"M",
                                 {{L"i", DbFieldDescr::ftLong},
                                  {L"f", DbFieldDescr::ftFloat},
                                  {L"d", DbFieldDescr::ftDouble},
                                  {L"t", DbFieldDescr::ftText},
                                  {L"bin", DbFieldDescr::ftBinary},
                                  {L"flag", DbFieldDescr::ftBoolean}},
                                 {{CComVariant(-42), CComVariant(1.5f), CComVariant(0.25),
                                   CComVariant(L"ab"), ByteArray({7, 8, 9}), CComVariant(true)},
                                  {CComVariant(7), CComVariant(2.0f), CComVariant(1e3),
                                   CComVariant(L"Łódź"), ByteArray({1}), CComVariant(false)}});
        data = info->data;
    }

    static CComVariant ByteArray(const std::vector<BYTE>& bytes) {
        CComVariant v;
        v.vt = VT_ARRAY | VT_UI1;
        v.parray = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
        void* at = nullptr;
        SafeArrayAccessData(v.parray, &at);
        std::copy(bytes.begin(), bytes.end(), static_cast<BYTE*>(at));
        SafeArrayUnaccessData(v.parray);
        return v;
    }

    DbTableData* data;
};

using Bytes = std::vector<unsigned char>;

TEST_F(BindingTest, MembersReadFieldsWithTheConvertersByteCounts) {
    Members m(&db);
    ASSERT_TRUE(m.Open(L"m"));
    EXPECT_EQ(m.asInt, -42);
    EXPECT_EQ(m.asShort, -42);
    EXPECT_EQ(m.asLong, -42);
    EXPECT_EQ(m.asFloat, 1.5f);
    EXPECT_EQ(m.asDouble, 0.25);
    EXPECT_EQ(m.floatText, CString(L"1.500000"));
    EXPECT_EQ(m.doubleText, CString(L"0.250000"));
    EXPECT_EQ(m.intText, CString(L"-42"));
    EXPECT_EQ(m.text, CString(L"ab"));
    // Length + 1 bytes of the UTF-16 text, then a 0 byte.
    EXPECT_EQ(m.textBytes, (Bytes{'a', 0, 'b', 0}));
    // As many bytes as the upper bound of a zero-based array: one short.
    EXPECT_EQ(m.bytes, (Bytes{7, 8}));
    EXPECT_TRUE(m.flag);
    EXPECT_EQ(m.flagInt, 1);
    EXPECT_EQ(m.flagBytes, (Bytes{1}));

    ASSERT_TRUE(m.MoveNext());
    EXPECT_EQ(m.text, CString(L"Łódź"));
    EXPECT_EQ(m.textBytes, (Bytes{0x41, 0x01, 0xF3, 0x00, 0x64, 0}));
    EXPECT_EQ(m.bytes, Bytes());  // upper bound 0: nothing
    EXPECT_EQ(m.doubleText, CString(L"1000.000000"));
    EXPECT_FALSE(m.flag);
    EXPECT_EQ(m.flagInt, 0);

    // Past the end nothing is read: the members keep the last row.
    EXPECT_FALSE(m.MoveNext());
    EXPECT_EQ(m.asInt, 7);
    EXPECT_EQ(ThrownBy([&] { m.Bind(L"nothing", &m.text); }).message,
              "Column 'nothing' not found in table 'M'");
}

TEST_F(BindingTest, UpdateWritesMembersBackKeepingTypesExceptTextAndBytes) {
    Members m(&db);
    m.Open(L"m");
    m.Edit();
    // Members bound to one field are written in the order of their
    // addresses, which is their order in the class.
    m.asInt = 5;
    m.asShort = 5;
    m.asLong = 5;
    m.asFloat = 3.25f;
    m.asDouble = -2;
    m.floatText = L"9.5";  // the text writer makes the float a text
    m.doubleText = L"-2";
    m.intText = L"5";
    m.text = L"changed";
    m.textBytes = {'h', 0, 'i', 0};
    m.bytes = {1, 2, 3};
    m.flag = false;
    m.flagInt = 3;
    m.flagBytes = {0};
    m.Update();
    const DbTableRow& row = *data->GetRow(0);
    EXPECT_EQ(row[1].GetType(), VT_BSTR);
    EXPECT_EQ(CString(row[1].GetValue().bstrVal), CString(L"9.5"));
    EXPECT_EQ(CString(row[0].GetValue().bstrVal), CString(L"5"));
    EXPECT_EQ(row[2].GetType(), VT_BSTR);
    // The text's writer, then the byte vector's, which reads its bytes as
    // UTF-16.
    EXPECT_EQ(CString(row[3].GetValue().bstrVal), CString(L"hi"));
    // A new zero-based array of all the bytes.
    EXPECT_EQ(row[4].GetType(), VT_ARRAY | VT_UI1);
    LONG upper = -1;
    SafeArrayGetUBound(row[4].GetValue().parray, 1, &upper);
    EXPECT_EQ(upper, 2);
    // The byte vector and the bool write false; the int writer, last, puts
    // its 32 bits and then VARIANT_TRUE for a positive member.
    EXPECT_EQ(row[5].GetType(), VT_BOOL);
    EXPECT_EQ(row[5].GetValue().boolVal, VARIANT_TRUE);
    EXPECT_TRUE(row[5].IsChanged());

    Members again(&db);
    again.Open(L"m");
    EXPECT_EQ(again.bytes, (Bytes{1, 2}));
}

TEST_F(BindingTest, NullFlagsActOnTheRowNumberedByTheCursor) {
    Members m(&db);
    m.Open(L"m");
    int unbound = 0;
    EXPECT_FALSE(m.IsFieldNull(&m.asDouble));
    m.SetFieldNull(&m.asDouble);
    EXPECT_TRUE(m.IsFieldNull(&m.asDouble));
    EXPECT_TRUE(data->GetRow(0)->GetField(2).IsNull());
    EXPECT_EQ(ThrownBy([&] { m.IsFieldNull(&unbound); }).message,
              "IsFieldNull invalid field binding");
    EXPECT_EQ(ThrownBy([&] { m.SetFieldNull(&unbound); }).message,
              "SetFieldNull invalid field binding");
    m.MoveLast();
    m.MoveNext();
    EXPECT_EQ(ThrownBy([&] { m.IsFieldNull(&m.asDouble); }).message, "Out of recordset range");
    EXPECT_EQ(ThrownBy([&] { m.SetFieldNull(&m.asDouble); }).message,
              "SetFieldNull out of recordset range");

    // Under an index position 0 is row 1, but the null flag set there is
    // that of row 0.
    data->GetRow(0)->GetField(0).GetVariant() = CComVariant(100);
    data->GetTableDescr()->CreateIndex(L"byi", L"i");
    ASSERT_TRUE(m.SetCurrentIndex(L"byi"));
    m.MoveFirst();
    EXPECT_EQ(m.asInt, 7);
    m.SetFieldNull(&m.asInt);
    EXPECT_TRUE(data->GetRow(0)->GetField(0).IsNull());
    EXPECT_FALSE(data->GetRow(1)->GetField(0).IsNull());
    m.Close();
    EXPECT_EQ(ThrownBy([&] { m.IsFieldNull(&m.asInt); }).message, "Out of recordset range");
}

std::string FileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST_F(EditingTest, ExportWritesTheFirstHalfOfTheUtf16Text) {
    const std::string file =
        (std::filesystem::temp_directory_path() / "korvan_recordset_export.txt").string();
    querytest::MakeTable(db, L"Small", {{L"a", DbFieldDescr::ftLong}, {L"b", DbFieldDescr::ftText}},
                         {{CComVariant(1), CComVariant(L"x")}});
    DbRecordset rs(&db);
    rs.Open(L"small");
    rs.ExportCVS(CString(file.c_str()));
    // "a| b\n1| x\n" is 10 characters: the file gets 10 of its 20 bytes.
    EXPECT_EQ(FileBytes(file), std::string("a\0|\0 \0b\0\n\0", 10));

    // Rows in table order whatever the index, line feeds in values as blanks,
    // separators inside values as they are.
    DbTableRow& row = *table->data->GetRow(1);
    row[1].GetVariant() = CComVariant(L"two\nlines| here");
    row[2].GetVariant() = Null();
    table->descr->CreateIndex(L"bya", L"a");
    rs.Open(L"t");
    rs.SetCurrentIndex(L"bya");
    rs.ExportCVS(CString(file.c_str()));
    const std::wstring text =
        L"a| b| c\n3| x| 1.5\n1| two lines| here| \n2| X| 0.5\n5| z| 4\n4| y| 3\n";
    const std::vector<BYTE> utf16 = korvan::EncodeUtf16LE(text);
    EXPECT_EQ(FileBytes(file), std::string(utf16.begin(), utf16.begin() + text.size()));

    rs.Close();
    rs.ExportCVS(CString(file.c_str()));
    EXPECT_EQ(FileBytes(file), "");
    rs.ExportCVS(L"/nonexistent/directory/export.txt");  // silently nothing
    std::remove(file.c_str());
}

}  // namespace
