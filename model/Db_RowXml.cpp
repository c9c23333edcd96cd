#include "model/Db_RowXml.h"

#include "model/Db_XmlText.h"
#include "platform/utf.h"

#include <algorithm>
#include <cstring>

namespace korvan {

RowXml::RowXml(const DbTableDescr* descr) : m_descr(descr) {
    const size_t count = descr ? descr->GetFieldCount() : 0;
    m_names.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        m_names.push_back(descr->GetField(static_cast<int>(i)).GetSafeName().ToUtf8());
    }
    m_positions.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        // Two fields with the same safe name: the first one is read.
        m_positions.emplace(m_names[i], static_cast<int>(i));
    }
}

void RowXml::CheckNames() {
    m_namesChecked = true;
    m_nameFaults.assign(m_names.size(), CString());
    for (size_t i = 0; i < m_names.size(); ++i) {
        const CString& safe = m_descr->GetField(static_cast<int>(i)).GetSafeName();
        const CString fault = XmlNameFault(safe.str());
        if (!fault.IsEmpty()) {
            m_nameFaults[i] = StringBuilder(L"its attribute name \"%s\" is no XML name (%s)",
                                            safe.GetString(), fault.GetString());
        } else if (const int first = m_positions.at(m_names[i]); first != static_cast<int>(i)) {
            m_nameFaults[i] =
                StringBuilder(L"its attribute name \"%s\" is that of field \"%s\"",
                              safe.GetString(), m_descr->GetField(first).GetName().GetString());
        }
    }
}

void RowXml::Refuse(size_t field, const CString& why) {
    m_fault = StringBuilder(L"field \"%s\": %s",
                            m_descr->GetField(static_cast<int>(field)).GetName().GetString(),
                            why.GetString());
}

bool RowXml::Save(const DbTableRow& row, pugi::xml_node parent, CString& error) {
    error.Empty();
    m_fault.Empty();
    if (!m_namesChecked) {
        CheckNames();
    }
    pugi::xml_node element = parent.append_child("row");
    if (!element) {
        return false;
    }
    const size_t count = std::min(m_names.size(), row.GetFieldCount());
    for (size_t i = 0; i < count; ++i) {
        const CComVariant& value = row[i].GetValue();
        std::wstring_view text;
        if (value.vt == VT_BSTR) {
            const BSTR bstr = value.bstrVal;
            text = bstr ? std::wstring_view(bstr, SysStringLen(bstr)) : std::wstring_view();
        } else {
            row[i].ValueToString(m_value);
            text = m_value.str();
        }
        CString why = m_nameFaults[i];
        if (const CString fault = XmlTextFault(text); why.IsEmpty() && !fault.IsEmpty()) {
            why = StringBuilder(L"its value holds %s, which XML does not allow", fault.GetString());
        }
        bool written = why.IsEmpty();
        if (written) {
            m_utf8 = EncodeUtf8(text);
            pugi::xml_attribute attribute = element.append_attribute(m_names[i].c_str());
            written = attribute && attribute.set_value(m_utf8.c_str(), m_utf8.size());
        } else {
            Refuse(i, why);
        }
        if (!written) {
            parent.remove_child(element);
            error = StringBuilder(
                L"Error on DbTableRow::Save(IDispatch* doc, IDispatch* element), %s, %d",
                m_descr->GetField(static_cast<int>(i)).GetName().GetString(), static_cast<int>(i));
            return false;
        }
    }
    return true;
}

int RowXml::Find(const char* name, size_t expected) const {
    // Attributes usually come in field order.
    if (expected < m_names.size() && m_names[expected] == name) {
        return static_cast<int>(expected);
    }
    const auto it = m_positions.find(name);
    return it == m_positions.end() ? -1 : it->second;
}

void RowXml::Load(DbTableRow& row, pugi::xml_node element) {
    const size_t count = std::min(m_names.size(), row.GetFieldCount());
    m_seen.assign(count, false);
    size_t expected = 0;
    for (const pugi::xml_attribute attribute : element.attributes()) {
        const int found = Find(attribute.name(), expected);
        if (found < 0 || static_cast<size_t>(found) >= count) {
            continue;
        }
        const auto position = static_cast<size_t>(found);
        expected = position + 1;
        const char* value = attribute.value();
        if (!DecodeUtf8(std::string_view(value, std::strlen(value)), m_text)) {
            m_text = DecodeUtf8Lenient(value);
        }
        const wchar_t* text = m_text.c_str();
        row[position].ValueFromString(m_descr->GetField(found), text);
        m_seen[position] = true;
    }
    for (size_t i = 0; i < count; ++i) {
        if (!m_seen[i]) {
            row[i].GetVariant() = m_descr->GetField(static_cast<int>(i)).GetValue();
        }
    }
}

}  // namespace korvan
