#include <korvan/model.h>

#include "model/Db_Base64.h"
#include "model/Db_DecimalSeparator.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr VARTYPE kBinary = VT_ARRAY | VT_UI1;

std::vector<BYTE> BytesOf(const VARIANT& v) {
    LONG lower = 0;
    LONG upper = -1;
    SafeArrayGetLBound(v.parray, 1, &lower);
    SafeArrayGetUBound(v.parray, 1, &upper);
    const BYTE* data = static_cast<const BYTE*>(v.parray->pvData);
    return std::vector<BYTE>(data, data + (upper - lower + 1));
}

CString TextOf(const DbFieldValue& value) {
    CString text;
    value.ValueToString(text);
    return text;
}

DbFieldDescr Field(DbFieldDescr::eFieldType type) {
    DbFieldDescr field;
    field.SetDbType(type);
    return field;
}

TEST(DbFieldDescrTest, TypesAndDefaults) {
    const struct {
        DbFieldDescr::eFieldType set;
        VARTYPE vt;
        DbFieldDescr::eFieldType reported;
        const wchar_t* name;
    } cases[] = {
        {DbFieldDescr::ftUnknown, VT_EMPTY, DbFieldDescr::ftUnknown, L"empty"},
        {DbFieldDescr::ftBoolean, VT_BOOL, DbFieldDescr::ftBoolean, L"boolean"},
        // Deliberate: integer columns hold 32-bit values.
        {DbFieldDescr::ftInteger, VT_I4, DbFieldDescr::ftLong, L"long"},
        {DbFieldDescr::ftLong, VT_I4, DbFieldDescr::ftLong, L"long"},
        {DbFieldDescr::ftFloat, VT_R4, DbFieldDescr::ftFloat, L"float"},
        {DbFieldDescr::ftDouble, VT_R8, DbFieldDescr::ftDouble, L"double"},
        {DbFieldDescr::ftText, VT_BSTR, DbFieldDescr::ftText, L"text"},
        {DbFieldDescr::ftBinary, kBinary, DbFieldDescr::ftBinary, L"binary"},
    };
    for (const auto& c : cases) {
        const DbFieldDescr field = Field(c.set);
        EXPECT_EQ(field.GetType(), c.vt) << c.name;
        EXPECT_EQ(field.GetDbType(), c.reported) << c.name;
        EXPECT_EQ(field.GetTypeString(), CString(c.name));
    }
    // The binary default: one zero byte at lower bound 1.
    const DbFieldDescr binary = Field(DbFieldDescr::ftBinary);
    LONG lower = 0;
    SafeArrayGetLBound(binary.GetValue().parray, 1, &lower);
    EXPECT_EQ(lower, 1);
    EXPECT_EQ(BytesOf(binary.GetValue()), std::vector<BYTE>{0});

    DbFieldDescr date;
    date.SetType(VT_DATE);  // dates are kept as text
    EXPECT_EQ(date.GetTypeString(), CString(L"text"));
    EXPECT_EQ(DbFieldDescr::VariantTypeToFieldType(VT_DATE), DbFieldDescr::ftUnknown);
}

TEST(DbFieldDescrTest, SafeNamesAndSizes) {
    DbFieldDescr field;
    field.SetName(L"a b/c\\d<e>(f)*");
    EXPECT_EQ(field.GetSafeName(), CString(L"a_b_S_c_BS_d_L_e_G__LP_f_RP__STAR_"));

    field.SetName(L"a b");
    field.SetDbType(DbFieldDescr::ftLong);
    EXPECT_EQ(field.GetSize(), 8u + 29 + 2 * (3 + 3) + 18);
    DbFieldValue cell(nullptr, 0);
    cell.GetVariant() = L"abcd";
    EXPECT_EQ(cell.GetSize(), 8u + 5 + 2 * 4);
}

TEST(Base64Test, Encoding) {
    const BYTE bytes[] = {0x00, 0x01, 0x02};
    EXPECT_EQ(korvan::Base64Encode(bytes, 3), L"AAEC");
    const BYTE ff[] = {0xFF, 0xEE};
    EXPECT_EQ(korvan::Base64Encode(ff, 1), L"/w==");
    EXPECT_EQ(korvan::Base64Encode(ff, 2), L"/+4=");

    // Every 19th full group ends a line, also at the very end; a padded last
    // group never does.
    const std::vector<BYTE> zeros(115, 0);
    const std::wstring line(76, L'A');
    EXPECT_EQ(korvan::Base64Encode(zeros.data(), 57), line + L"\r\n ");
    EXPECT_EQ(korvan::Base64Encode(zeros.data(), 58), line + L"\r\n AA==");
    EXPECT_EQ(korvan::Base64Encode(zeros.data(), 115), line + L"\r\n " + line + L"\r\n AA==");
}

TEST(Base64Test, DecodingSkipsJunkAndStopsAtPadding) {
    const std::vector<BYTE> three{0, 1, 2};
    EXPECT_EQ(korvan::Base64Decode(L"AA EC"), three);
    EXPECT_EQ(korvan::Base64Decode(L"A\r\n A*E!C\x00e9"), three);
    EXPECT_EQ(korvan::Base64Decode(L"AAEC=AAEC"), three);
    EXPECT_EQ(korvan::Base64Decode(L"/w=="), std::vector<BYTE>{0xFF});

    std::vector<BYTE> all;
    for (int i = 0; i < 300; ++i) {
        all.push_back(static_cast<BYTE>(i * 7));
        ASSERT_EQ(korvan::Base64Decode(korvan::Base64Encode(all.data(), all.size())), all);
    }
}

TEST(DbFieldValueTest, TheTwoTextConversionsDiffer) {
    ASSERT_EQ(korvan::ProcessDecimalSeparator(), L'.');
    const DbFieldDescr real = Field(DbFieldDescr::ftDouble);
    const DbFieldDescr number = Field(DbFieldDescr::ftLong);
    const DbFieldDescr binary = Field(DbFieldDescr::ftBinary);
    DbFieldValue cell(nullptr, 0);

    // The descriptor's own conversion: either separator, empty is zero, a
    // text that does not convert stays text.
    const wchar_t* text = L"1,5";
    cell.ValueFromString(real, text);
    EXPECT_EQ(cell.GetType(), VT_R8);
    EXPECT_EQ(cell.GetValue().dblVal, 1.5);
    text = L"";
    cell.ValueFromString(Field(DbFieldDescr::ftFloat), text);
    EXPECT_EQ(cell.GetType(), VT_R4);
    EXPECT_EQ(cell.GetValue().fltVal, 0.0f);
    text = L"12x";
    cell.ValueFromString(number, text);
    EXPECT_EQ(TextOf(cell), CString(L"12x"));
    text = L"/w==";
    cell.ValueFromString(binary, text);
    EXPECT_EQ(BytesOf(cell.GetValue()), std::vector<BYTE>{0xFF});

    // The plain conversion: "," groups thousands, empty stays text.
    cell.ValueFromString(real, CString(L"1,5"));
    EXPECT_EQ(cell.GetValue().dblVal, 15.0);
    cell.ValueFromString(real, CString(L""));
    EXPECT_EQ(cell.GetType(), VT_BSTR);
    cell.ValueFromString(binary, CString(L"AA\r\n EC"));
    ASSERT_EQ(cell.GetType(), kBinary);
    EXPECT_EQ(BytesOf(cell.GetValue()), (std::vector<BYTE>{0, 1, 2}));
    EXPECT_EQ(TextOf(cell), CString(L"AAEC"));

    EXPECT_FALSE(cell.IsChanged());  // reading text is no change
}

TEST(DbFieldValueTest, TextFormsAndSetValue) {
    DbFieldValue cell(nullptr, 0);
    EXPECT_EQ(TextOf(cell), CString(L""));
    cell.GetVariant() = true;
    EXPECT_EQ(TextOf(cell), CString(L"true"));
    cell.GetVariant().boolVal = 1;  // not all bits set: deliberately false
    EXPECT_EQ(TextOf(cell), CString(L"false"));
    cell.GetVariant() = 2.5;
    EXPECT_EQ(TextOf(cell), CString(L"2.5"));
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
    std::string attributes;
    for (const pugi::xml_attribute a : saved.attributes()) {
        attributes += std::string(a.name()) + "=" + a.value() + ";";
    }
    EXPECT_EQ(attributes, "name=Mass (kg/m);key=true;type=8209;required=0;");
    EXPECT_FALSE(field.Save(doc, pugi::xml_node()));

    // "required" is deliberately never read back; unknown attributes are
    // ignored.
    saved.attribute("required").set_value("-1");
    saved.append_attribute("extra").set_value("x");
    DbFieldDescr loaded;
    ASSERT_TRUE(loaded.Load(saved));
    EXPECT_EQ(loaded.GetName(), field.GetName());
    EXPECT_EQ(loaded.GetSafeName(), CString(L"Mass__LP_kg_S_m_RP_"));
    EXPECT_TRUE(loaded.IsKey());
    EXPECT_EQ(loaded.GetType(), kBinary);
    EXPECT_FALSE(loaded.IsRequired());

    ASSERT_TRUE(doc.load_string("<field type='2' key='True'/>"));
    ASSERT_TRUE(loaded.Load(doc.first_child()));
    EXPECT_FALSE(loaded.IsKey());  // only exactly "true"
    EXPECT_EQ(loaded.GetType(), VT_I4);
}

}  // namespace
