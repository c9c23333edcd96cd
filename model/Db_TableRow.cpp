// DbTableRow: one row of cells, its "row" element, the comparison of rows
// and keys, and the evaluation of the descriptor's filters on it.
#include <korvan/model.h>

#include "model/Db_RowCells.h"
#include "model/Db_RowXml.h"
#include "platform/unicode.h"
#include "platform/variant_order.h"

#include <algorithm>

namespace {

std::wstring_view BstrView(BSTR text) {
    return text ? std::wstring_view(text, SysStringLen(text)) : std::wstring_view();
}

// One field of a row comparison: unequal values decide by the greater rule.
DbTableRow::eCmpResult CompareValues(const VARIANT& left, const VARIANT& right) {
    HRESULT order = VARCMP_EQ;
    if (korvan::SameTypeOrder(left, right, order)) {
        if (order == VARCMP_EQ) {
            return DbTableRow::cmpEqual;
        }
        return order == VARCMP_GT ? DbTableRow::cmpGreater : DbTableRow::cmpLess;
    }
    if (DbTableRow::IsEqual(left, right)) {
        return DbTableRow::cmpEqual;
    }
    return DbTableRow::IsGreater(left, right) ? DbTableRow::cmpGreater : DbTableRow::cmpLess;
}

}  // namespace

using korvan::ChildAnswers;
using korvan::ItemLinks;
using korvan::LinkPlace;
using korvan::RowCell;
using korvan::RowCells;

DbTableRow::DbTableRow(DbItem* parent)
    : DbItem(LinkPlace::kInside),
      m_links(this, parent),
      m_descr(nullptr),
      m_cells(nullptr),
      m_extras(nullptr) {}

DbTableRow::DbTableRow(const DbTableRow& other)
    : DbXmlSerializable(other),
      DbItem(LinkPlace::kInside),
      m_links(this, other.m_links),
      m_descr(other.m_descr),
      m_cells(nullptr),
      m_extras(nullptr) {
    // The item copy listed other's children; this copy's are its own cells.
    ReleaseChildren();
    try {
        RowCells::CopyFrom(*this, other);
    } catch (...) {
        RowCells::Destroy(*this);
        throw;
    }
}

DbTableRow& DbTableRow::operator=(const DbTableRow& other) {
    if (this != &other) {
        RowCells::Destroy(*this);
        m_descr = other.m_descr;
        CopyStamps(*this, other);
        RowCells::CopyFrom(*this, other);
    }
    return *this;
}

DbTableRow::~DbTableRow() {
    RowCells::Destroy(*this);
}

ItemLinks* DbTableRow::Links(bool /*make*/) const {
    return &m_links;
}

size_t DbTableRow::UnlistedChildCount() const {
    return RowCells::Count(*this);
}

void DbTableRow::AnswerForUnlisted(ChildAnswers& answers, bool newest) const {
    const size_t count = RowCells::Count(*this);
    for (size_t i = 0; i < count; ++i) {
        DbFieldValue& cell = RowCells::At(*this, i);
        if (const RowCell* plain = RowCells::Plain(cell)) {
            if (newest) {
                answers.newest = std::max(answers.newest, plain->Stamp());
            } else {
                answers.changed = answers.changed || plain->Dirty();
            }
        } else {
            Answer(cell, answers, newest);
        }
    }
}

bool DbTableRow::SyncUnlisted() {
    bool keep = true;
    const size_t count = RowCells::Count(*this);
    for (size_t i = 0; i < count; ++i) {
        DbFieldValue& cell = RowCells::At(*this, i);
        if (RowCell* plain = RowCells::Plain(cell)) {
            plain->Clean();
        } else {
            cell.Sync();
            const ItemLinks* links = cell.Links(false);
            keep = keep && (links == nullptr || links->changedKnown) && AnswersAsDbItem(cell);
        }
    }
    return keep;
}

uint64_t DbTableRow::SizeOfUnlisted() const {
    uint64_t size = 0;
    const size_t count = RowCells::Count(*this);
    for (size_t i = 0; i < count; ++i) {
        size += RowCells::At(*this, i).CalcSize();
    }
    return size;
}

DbFieldValue& DbTableRow::operator[](uint64_t i) {
    return RowCells::At(*this, static_cast<size_t>(i));
}

const DbFieldValue& DbTableRow::operator[](uint64_t i) const {
    return RowCells::At(*this, static_cast<size_t>(i));
}

size_t DbTableRow::GetFieldCount() const {
    return RowCells::Count(*this);
}

bool DbTableRow::Save(pugi::xml_document& /*doc*/, pugi::xml_node parent) {
    korvan::RowXml xml(m_descr);
    CString error;
    if (!xml.Save(*this, parent, error)) {
        DbTableOwner* owner = m_descr ? m_descr->GetOwner() : nullptr;
        if (owner != nullptr && !xml.Fault().IsEmpty()) {
            owner->Log(StringBuilder(L"Row not written, %s", xml.Fault().GetString()));
        }
        if (owner != nullptr && !error.IsEmpty()) {
            owner->Log(error);
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
    return (*this)[static_cast<uint64_t>(m_descr->GetFieldIndex(name))];
}

void DbTableRow::SetValue(const CString& field, const CString& text) {
    const int i = FindCell(field);
    if (i >= 0) {
        (*this)[static_cast<uint64_t>(i)].ValueFromString(m_descr->GetField(i), text);
    }
}

void DbTableRow::SetValue(const CString& field, const CComVariant& v) {
    const int i = FindCell(field);
    if (i >= 0) {
        (*this)[static_cast<uint64_t>(i)].SetValue(v);
    }
}

int DbTableRow::FindCell(const CString& field) const {
    const int i = m_descr ? m_descr->GetFieldIndex(field) : -1;
    return static_cast<size_t>(i) < GetFieldCount() ? i : -1;
}

bool DbTableRow::IsEqual(const VARIANT& left, const VARIANT& right) {
    HRESULT order = VARCMP_EQ;
    if (korvan::SameTypeOrder(left, right, order)) {
        return order == VARCMP_EQ;
    }
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
    HRESULT order = VARCMP_EQ;
    if (korvan::SameTypeOrder(left, right, order)) {
        return order == VARCMP_GT;
    }
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
        if (!test((*this)[field].GetValue(), other[field].GetValue())) {
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
        if (!test((*this)[i].GetValue(), other[i].GetValue())) {
            return false;
        }
    }
    return true;
}

DbTableRow::eCmpResult DbTableRow::CompareEx(const std::vector<uint64_t>& fields,
                                             const DbTableRow& other) const {
    for (const uint64_t field : fields) {
        const CComVariant& left = RowCells::At(*this, field).GetValue();
        const CComVariant& right = RowCells::At(other, field).GetValue();
        const eCmpResult result = CompareValues(left, right);
        if (result != cmpEqual) {
            return result;
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
        const eCmpResult result = CompareValues(keys[i], RowCells::At(row, fields[i]).GetValue());
        if (result != cmpEqual) {
            return result;
        }
    }
    return cmpEqual;
}

void DbTableRow::SetFieldValuePtr(uint64_t i, DbFieldValue* v) {
    RowCells::Replace(*this, static_cast<size_t>(i), v);
}
