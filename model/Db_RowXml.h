// The "row" element of one table, with the attribute names converted once
// per table: reading or writing many rows then neither converts a wide name
// nor looks one up per attribute.
#pragma once

#include <korvan/model.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace korvan {

class RowXml {
  public:
    // REQUIRES: descr outlives this object and keeps its fields meanwhile.
    explicit RowXml(const DbTableDescr* descr);

    // Appends a "row" element for row under parent: one attribute per field,
    // named by its safe name. On failure nothing is appended, false is
    // returned and error holds the message naming the field being written
    // (empty when the element itself could not be made). A field whose
    // attribute cannot be written (its value holds a character XML does not
    // allow, its safe name is no attribute name, or is that of another field)
    // fails the row: Fault() then tells why.
    bool Save(const DbTableRow& row, pugi::xml_node parent, CString& error);
    // Why the last Save failed, naming the field ("field "t": ..."); empty when
    // it did not fail for what the field holds.
    const CString& Fault() const { return m_fault; }

    // Fills the cells of row from the attributes of element through the
    // fields' text conversion. Unknown attributes are ignored; a field
    // without an attribute gets its default value.
    void Load(DbTableRow& row, pugi::xml_node element);

  private:
    int Find(const char* name, size_t expected) const;
    // Fills m_nameFaults: why each field's safe name cannot name an attribute.
    void CheckNames();
    // Keeps why the field cannot be written, naming it, for Fault().
    void Refuse(size_t field, const CString& why);

    const DbTableDescr* m_descr;
    std::vector<std::string> m_names;  // safe names in UTF-8, by position
    std::unordered_map<std::string_view, int> m_positions;
    std::wstring m_text;  // reused buffers
    std::string m_utf8;
    CString m_value;
    std::vector<bool> m_seen;
    std::vector<CString> m_nameFaults;  // by position; filled on the first Save
    bool m_namesChecked = false;
    CString m_fault;
};

}  // namespace korvan
