// DbTableRow: one row of cells, its "row" element, the comparison of rows
// and keys, and the evaluation of the descriptor's filters on it.
#include <korvan/model.h>

#include "model/Db_RowXml.h"
#include "platform/unicode.h"

#include <functional>
#include <new>

namespace {

std::wstring_view BstrView(BSTR text) {
    return text ? std::wstring_view(text, SysStringLen(text)) : std::wstring_view();
}

}  // namespace

DbTableRow::DbTableRow(DbItem* parent)
    : DbItem(parent), m_descr(nullptr), m_cellBlock(nullptr), m_cellBlockSize(0) {}

DbTableRow::DbTableRow(const DbTableRow& other)
    : DbXmlSerializable(other),
      DbItem(other),
      m_descr(other.m_descr),
      m_cellBlock(nullptr),
      m_cellBlockSize(0) {
    // The item copy listed other's cells; this copy's children are its own.
    ReleaseChildren();
    try {
        CopyCells(other);
    } catch (...) {
        DestroyCells();
        throw;
    }
}

DbTableRow& DbTableRow::operator=(const DbTableRow& other) {
    if (this != &other) {
        DestroyCells();
        m_descr = other.m_descr;
        CopyStamps(*this, other);
        CopyCells(other);
    }
    return *this;
}

DbTableRow::~DbTableRow() {
    DestroyCells();
}

void DbTableRow::DestroyCells() {
    // The cells go all at once: forgetting them first keeps each removal
    // from the child list immediate.
    ReleaseChildren();
    for (DbFieldValue* cell : m_fields) {
        DestroyCell(cell);
    }
    m_fields.clear();
    ::operator delete(m_cellBlock);
    m_cellBlock = nullptr;
    m_cellBlockSize = 0;
}

void DbTableRow::AllocateCells(size_t count) {
    ReserveChildren(count);
    m_fields.reserve(count);
    m_cellBlock = static_cast<DbFieldValue*>(::operator new(count * sizeof(DbFieldValue)));
    m_cellBlockSize = count;
}

void DbTableRow::CopyCells(const DbTableRow& other) {
    const size_t count = other.m_fields.size();
    if (count == 0) {
        return;
    }
    AllocateCells(count);
    for (size_t i = 0; i < count; ++i) {
        const DbFieldValue& from = *other.m_fields[i];
        m_fields.push_back(new (m_cellBlock + i) DbFieldValue(this, from.GetIndex()));
        *m_fields.back() = from;
        CopyStamps(*m_fields.back(), from);
    }
}

void DbTableRow::CreateCells(bool withDefaults) {
    const size_t count = m_descr ? m_descr->GetFieldCount() : 0;
    if (count == 0) {
        return;
    }
    AllocateCells(count);
    for (size_t i = 0; i < count; ++i) {
        m_fields.push_back(new (m_cellBlock + i) DbFieldValue(this, static_cast<int>(i)));
        if (withDefaults) {
            // A plain copy: the new cells do not count as changed.
            m_fields.back()->GetVariant() = m_descr->GetField(static_cast<int>(i)).GetValue();
        }
    }
}

void DbTableRow::DestroyCell(DbFieldValue* cell) {
    const std::less<const DbFieldValue*> before;
    if (!before(cell, m_cellBlock) && before(cell, m_cellBlock + m_cellBlockSize)) {
        cell->~DbFieldValue();
    } else {
        delete cell;
    }
}

bool DbTableRow::Save(pugi::xml_document& /*doc*/, pugi::xml_node parent) {
    korvan::RowXml xml(m_descr);
    CString error;
    if (!xml.Save(*this, parent, error)) {
        if (!error.IsEmpty()) {
            if (DbTableOwner* owner = m_descr ? m_descr->GetOwner() : nullptr) {
                owner->Log(error);
            }
        }
        return false;
    }
    return true;
}

bool DbTableRow::Load(pugi::xml_node element) {
    korvan::RowXml xml(m_descr);
    xml.Load(*this, element);
    return true;
}

uint64_t DbTableRow::GetSize() const {
    return DbItem::GetSize() + 8;
}

DbFieldValue& DbTableRow::operator[](const CString& name) {
    return *m_fields[static_cast<size_t>(m_descr->GetFieldIndex(name))];
}

void DbTableRow::SetValue(const CString& field, const CString& text) {
    const int i = FindCell(field);
    if (i >= 0) {
        m_fields[static_cast<size_t>(i)]->ValueFromString(m_descr->GetField(i), text);
    }
}

void DbTableRow::SetValue(const CString& field, const CComVariant& v) {
    const int i = FindCell(field);
    if (i >= 0) {
        m_fields[static_cast<size_t>(i)]->SetValue(v);
    }
}

int DbTableRow::FindCell(const CString& field) const {
    const int i = m_descr ? m_descr->GetFieldIndex(field) : -1;
    return static_cast<size_t>(i) < m_fields.size() ? i : -1;
}

bool DbTableRow::IsEqual(const VARIANT& left, const VARIANT& right) {
    if (left.vt == VT_BSTR) {
        // Text on the left compares as text without regard to case, with
        // the right value in its text form.
        if (right.vt == VT_BSTR) {
            return korvan::EqualNoCase(BstrView(left.bstrVal), BstrView(right.bstrVal));
        }
        CComVariant text;
        return SUCCEEDED(VariantChangeType(&text, &right, 0, VT_BSTR)) &&
               korvan::EqualNoCase(BstrView(left.bstrVal), BstrView(text.bstrVal));
    }
    if (left.vt != right.vt) {
        return false;
    }
    if (left.vt == VT_NULL) {
        return true;
    }
    return VarCmp(&left, &right, LOCALE_USER_DEFAULT, 0) == VARCMP_EQ;
}

bool DbTableRow::IsGreater(const VARIANT& left, const VARIANT& right) {
    if (left.vt == VT_NULL && right.vt == VT_NULL) {
        return false;
    }
    return VarCmp(&left, &right, LOCALE_USER_DEFAULT, 0) == VARCMP_GT;
}

bool DbTableRow::Compare(const std::vector<uint64_t>& fields, const DbTableRow& other) const {
    return CompareEx(fields, other) != cmpLess;
}

bool DbTableRow::Compare(const std::vector<uint64_t>& fields, ValueTest test,
                         const DbTableRow& other) const {
    for (const uint64_t field : fields) {
        if (!test(m_fields[field]->GetValue(), other.m_fields[field]->GetValue())) {
            return false;
        }
    }
    return true;
}

bool DbTableRow::Compare(const std::vector<CString>& names, ValueTest test,
                         const DbTableRow& other) const {
    for (const CString& name : names) {
        const int field = m_descr->GetFieldIndex(name);
        if (field < 0) {
            return false;
        }
        const auto i = static_cast<size_t>(field);
        if (!test(m_fields[i]->GetValue(), other.m_fields[i]->GetValue())) {
            return false;
        }
    }
    return true;
}

DbTableRow::eCmpResult DbTableRow::CompareEx(const std::vector<uint64_t>& fields,
                                             const DbTableRow& other) const {
    for (const uint64_t field : fields) {
        const CComVariant& left = m_fields[field]->GetValue();
        const CComVariant& right = other.m_fields[field]->GetValue();
        if (!IsEqual(left, right)) {
            return IsGreater(left, right) ? cmpGreater : cmpLess;
        }
    }
    return cmpEqual;
}

DbTableRow::eCmpResult DbTableRow::CompareEx(const std::vector<uint64_t>& fields,
                                             const std::vector<CComVariant>& keys,
                                             const DbTableRow& row) {
    return CompareEx(fields, keys.data(), static_cast<int>(keys.size()), row);
}

DbTableRow::eCmpResult DbTableRow::CompareEx(const std::vector<uint64_t>& fields,
                                             const CComVariant* keys, int count,
                                             const DbTableRow& row) {
    const size_t n = std::min(fields.size(), count > 0 ? static_cast<size_t>(count) : 0);
    for (size_t i = 0; i < n; ++i) {
        const CComVariant& cell = row.m_fields[fields[i]]->GetValue();
        if (!IsEqual(keys[i], cell)) {
            return IsGreater(keys[i], cell) ? cmpGreater : cmpLess;
        }
    }
    return cmpEqual;
}

void DbTableRow::SetFieldValuePtr(uint64_t i, DbFieldValue* v) {
    m_fields[i] = v;
}
