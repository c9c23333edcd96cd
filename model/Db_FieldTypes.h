// Internal: the one table of field types. Each entry ties a field type to the
// variant type its columns are made with, the name GetTypeString gives it,
// whether it holds numbers, its DAO code, the default value a new column gets
// and the conversions of texts into its values and of its values into text. Every switch over field
// or variant types of the model, the reader and the tool goes through this table.
#pragma once

#include <korvan/model.h>

namespace korvan {

struct FieldType {
    DbFieldDescr::eFieldType type;
    VARTYPE variant;
    const wchar_t* name;
    bool numeric;
    short daoCode;  // the DAO field type code; 0 when DAO has none
    // Both null for a variant type no column is made of (VT_EMPTY).
    void (*setDefault)(CComVariant& value);
    DbFieldDescr::FromStringFn fromString;
    // The value's text (ValueToString); null where the text is "".
    void (*toString)(const CComVariant& value, CString& out);
};

// The entry of a field type; the entry of ftUnknown for any value outside the
// enumeration.
const FieldType& FieldTypeOf(DbFieldDescr::eFieldType type);

// The entry for a variant type; null when the table has none. Dates have an
// entry of their own: they are no field type of their own (ftUnknown,
// "unknown"), but a column made with VT_DATE keeps its dates as text.
const FieldType* FieldTypeOfVariant(VARTYPE vt);

// The entry of a DAO field type code; the entry of ftUnknown when no field
// type has that code.
const FieldType& FieldTypeOfDaoCode(short code);

// True for the variant types a column can be made with: those of the seven
// known field types and VT_DATE.
bool IsColumnVariantType(VARTYPE vt);

}  // namespace korvan
