// Field descriptors and values: the field types and their mappings, text
// conversions both ways with base64 for binary values, and the "field"
// element.
#include <korvan/model.h>

#include "model/Db_Base64.h"
#include "model/Db_DecimalSeparator.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/model/tables.h"

namespace {

using testtables::TextOf;
constexpr VARTYPE kBinary = VT_ARRAY | VT_UI1;

DbFieldDescr Field(DbFieldDescr::eFieldType type) {
    DbFieldDescr field;
    field.SetDbType(type);
    return field;
}

TEST(DbFieldDescrTest, TypesDefaultsNamesAndSizes) {
    // type set, variant type, type reported, type name, numeric
    using Type = DbFieldDescr::eFieldType;
    const std::tuple<Type, VARTYPE, Type, const wchar_t*, bool> cases[] = {
        {DbFieldDescr::ftUnknown, VT_EMPTY, DbFieldDescr::ftUnknown, L"empty", false},
        {DbFieldDescr::ftBoolean, VT_BOOL, DbFieldDescr::ftBoolean, L"boolean", false},
        // Deliberate: integer columns hold 32-bit values.
        {DbFieldDescr::ftInteger, VT_I4, DbFieldDescr::ftLong, L"long", true},
        {DbFieldDescr::ftLong, VT_I4, DbFieldDescr::ftLong, L"long", true},
        {DbFieldDescr::ftFloat, VT_R4, DbFieldDescr::ftFloat, L"float", true},
        {DbFieldDescr::ftDouble, VT_R8, DbFieldDescr::ftDouble, L"double", true},
        {DbFieldDescr::ftText, VT_BSTR, DbFieldDescr::ftText, L"text", false},
        {DbFieldDescr::ftBinary, kBinary, DbFieldDescr::ftBinary, L"binary", false},
    };
    for (const auto& [set, vt, reported, name, numeric] : cases) {
        const DbFieldDescr field = Field(set);
        EXPECT_EQ(field.GetType(), vt) << name;
        EXPECT_EQ(field.GetDbType(), reported) << name;
        EXPECT_EQ(field.GetTypeString(), CString(name));
        EXPECT_EQ(DbFieldDescr::IsNumericType(set), numeric) << name;
    }
    EXPECT_EQ(DbFieldDescr::FieldTypeToVariantType(DbFieldDescr::ftInteger), VT_I2);
    EXPECT_EQ(DbFieldDescr::FieldTypeToVariantType(static_cast<Type>(9)), VT_EMPTY);
    EXPECT_EQ(DbFieldDescr::VariantTypeToFieldType(VT_I2), DbFieldDescr::ftInteger);
    // DAO codes: only integer, long, double and text have one.
    const std::pair<short, Type> dao[] = {
        {3, DbFieldDescr::ftInteger}, {4, DbFieldDescr::ftLong},    {7, DbFieldDescr::ftDouble},
        {10, DbFieldDescr::ftText},   {0, DbFieldDescr::ftUnknown}, {1, DbFieldDescr::ftUnknown},
        {6, DbFieldDescr::ftUnknown}};
    for (const auto& [code, type] : dao) {
        EXPECT_EQ(DbFieldDescr::DbTypeToFieldType(code), type) << code;
    }
    // The binary default: one zero byte at lower bound 1.
    const DbFieldDescr binary = Field(DbFieldDescr::ftBinary);
    const SAFEARRAY& blob = *binary.GetValue().parray;
    EXPECT_EQ(blob.rgsabound[0].lLbound, 1);
    EXPECT_EQ(blob.rgsabound[0].cElements, 1u);
    EXPECT_EQ(*static_cast<const BYTE*>(blob.pvData), 0);

    DbFieldDescr field;
    field.SetType(VT_DATE);  // dates are kept as text
    EXPECT_EQ(field.GetTypeString(), CString(L"text"));
    field.SetType(VT_UI4);  // no column type: the value empties, the rest stays
    EXPECT_EQ(field.GetTypeString(), CString(L"empty"));
    field.ValueFromString(field, L"12");
    EXPECT_EQ(field.GetType(), VT_BSTR) << "the text conversion stays";
    EXPECT_EQ(DbFieldDescr::VariantTypeToFieldType(VT_DATE), DbFieldDescr::ftUnknown);

    field.SetName(L"a b/c\\d<e>(f)*");
    EXPECT_EQ(field.GetSafeName(), CString(L"a_b_S_c_BS_d_L_e_G__LP_f_RP__STAR_"));
    field.SetDbType(DbFieldDescr::ftLong);
    EXPECT_EQ(field.GetSize(), 8u + 29 + 2 * (14 + 34) + 18);
}

TEST(Base64Test, EncodingBreaksLinesAndDecodingSkipsJunk) {
    const BYTE bytes[] = {0x00, 0x01, 0x02, 0xFF, 0xEE};
    EXPECT_EQ(korvan::Base64Encode(bytes, 3), L"AAEC");
    EXPECT_EQ(korvan::Base64Encode(bytes + 3, 1), L"/w==");
    EXPECT_EQ(korvan::Base64Encode(bytes + 3, 2), L"/+4=");

    // Every 19th full group ends a line, also at the very end; a padded last
    // group never does.
    const std::vector<BYTE> zeros(115, 0);
    const std::wstring line(76, L'A');
    EXPECT_EQ(korvan::Base64Encode(zeros.data(), 57), line + L"\r\n ");
    EXPECT_EQ(korvan::Base64Encode(zeros.data(), 58), line + L"\r\n AA==");
    EXPECT_EQ(korvan::Base64Encode(zeros.data(), 115), line + L"\r\n " + line + L"\r\n AA==");

    const std::vector<BYTE> three{0, 1, 2};
    EXPECT_EQ(korvan::Base64Decode(L"A\r\n A*E!C\x00e9"), three);
    EXPECT_EQ(korvan::Base64Decode(L"AAEC=AAEC"), three);
    std::vector<BYTE> all;
    for (int i = 0; i < 300; ++i) {
        all.push_back(static_cast<BYTE>(i * 7));
        ASSERT_EQ(korvan::Base64Decode(korvan::Base64Encode(all.data(), all.size())), all);
    }
}

// The descriptor's own conversion takes either separator, reads empty as
// zero and leaves a text that does not convert as text; the plain one lets
// "," group thousands and leaves empty as text. Reading text is no change.
// Values turn to text by type, and a value set takes the cell's type.
TEST(DbFieldValueTest, TextConversionsAndSetValue) {
    ASSERT_EQ(korvan::ProcessDecimalSeparator(), L'.');
    // field type, text, through the descriptor's own conversion, the
    // variant type and text that result
    const std::tuple<DbFieldDescr::eFieldType, const wchar_t*, bool, VARTYPE, const wchar_t*>
        cases[] = {
            {DbFieldDescr::ftDouble, L"1,5", true, VT_R8, L"1.5"},
            {DbFieldDescr::ftFloat, L"", true, VT_R4, L"0"},
            {DbFieldDescr::ftLong, L"12x", true, VT_BSTR, L"12x"},
            {DbFieldDescr::ftBinary, L"/w==", true, kBinary, L"/w=="},
            {DbFieldDescr::ftDouble, L"1,5", false, VT_R8, L"15"},
            {DbFieldDescr::ftDouble, L"", false, VT_BSTR, L""},
            {DbFieldDescr::ftBinary, L"AA\r\n EC", false, kBinary, L"AAEC"},
        };
    for (const auto& [type, text, own, vt, result] : cases) {
        DbFieldValue cell(nullptr, 0);
        if (own) {
            cell.ValueFromString(Field(type), text);
        } else {
            cell.ValueFromString(Field(type), CString(text));
        }
        EXPECT_EQ(cell.GetType(), vt) << CString(text).ToUtf8();
        EXPECT_EQ(TextOf(cell), CString(result)) << CString(text).ToUtf8();
        EXPECT_FALSE(cell.IsChanged());
    }

    DbFieldValue cell(nullptr, 0);
    EXPECT_EQ(TextOf(cell), CString(L""));
    cell.GetVariant() = true;
    EXPECT_EQ(TextOf(cell), CString(L"true"));
    cell.GetVariant().boolVal = 1;  // not all bits set: deliberately false
    EXPECT_EQ(TextOf(cell), CString(L"false"));
    cell.GetVariant() = CComVariant(25570.0, VT_DATE);
    EXPECT_EQ(TextOf(cell), CString(L""));

    // A value takes the cell's type; one that does not convert keeps its own.
    cell.GetVariant() = 0;
    cell.SetValue(CComVariant(L"12"));
    EXPECT_EQ(cell.GetType(), VT_I4);
    EXPECT_EQ(cell.GetValue().lVal, 12);
    EXPECT_TRUE(cell.IsChanged());
    cell.SetValue(CComVariant(L"twelve"));
    EXPECT_EQ(TextOf(cell), CString(L"twelve"));

    DbFieldValue copy(nullptr, 5);
    copy.SetNull(true);
    copy = cell;
    EXPECT_EQ(copy.GetIndex(), 5);
    EXPECT_FALSE(copy.IsNull());
    EXPECT_EQ(TextOf(copy), CString(L"twelve"));
}

TEST(DbFieldDescrTest, XmlElement) {
    DbFieldDescr field;
    field.SetName(L"Mass (kg/m)");
    field.SetKey(true);
    field.SetDbType(DbFieldDescr::ftBinary);

    pugi::xml_document doc;
    pugi::xml_node structure = doc.append_child("structure");
    ASSERT_TRUE(field.Save(doc, structure));
    pugi::xml_node saved = structure.child("field");
    std::ostringstream text;
    saved.print(text, "", pugi::format_raw);
    EXPECT_EQ(text.str(),
              "<field name=\"Mass (kg/m)\" key=\"true\" type=\"8209\" required=\"0\"/>");
    EXPECT_FALSE(field.Save(doc, pugi::xml_node()));

    // "required" is deliberately never read back; unknown attributes are
    // ignored.
    saved.attribute("required").set_value("-1");
    saved.append_attribute("extra").set_value("x");
    DbFieldDescr loaded;
    ASSERT_TRUE(loaded.Load(saved));
    EXPECT_EQ(loaded.GetSafeName(), CString(L"Mass__LP_kg_S_m_RP_"));
    EXPECT_FALSE(loaded.IsRequired());

    ASSERT_TRUE(doc.load_string("<field type='2' key='True'/>"));
    ASSERT_TRUE(loaded.Load(doc.first_child()));
    EXPECT_FALSE(loaded.IsKey());  // only exactly "true"
    EXPECT_EQ(loaded.GetType(), VT_I4);
}

}  // namespace
