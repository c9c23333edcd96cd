// TableXml: one table's XML as a database file holds it, checked and loaded.
//
// A table appears in the file twice: a "table" element of its structure (one
// "field" element per column) and a "table" element of its data (one "row"
// element per row). Before either reaches the table model, which takes its
// input on trust, TableXml checks it: the table has a name; a structure holds
// only "field" elements, each with a name (unique without regard to case) and
// a known type; a data element holds only "row" elements whose attributes are
// all fields of the table. Every way a table is read goes through here - the
// whole document, the stream of elements, and the text a table keeps until
// its rows are first needed - so one file gets one verdict.
//
// Refusals throw DbException naming the file; nothing is loaded from an
// element that is refused.
#pragma once

#include <korvan/model.h>

#include <string_view>

namespace korvan {

class TableXml {
  public:
    // Reads for owner: its file is named in every message.
    explicit TableXml(const DbTableOwner& owner);

    // Throws unless the parser read the document.
    void CheckParsed(const pugi::xml_parse_result& result) const;
    // Parses utf8, the text of one element, into doc and returns that
    // element. doc parses a copy: utf8 stays as it was, whatever the outcome.
    pugi::xml_node Parse(std::string_view utf8, pugi::xml_document& doc) const;

    // The table's name: the value of the element's first attribute, whatever
    // that attribute is called. Throws when it is empty.
    CString Name(pugi::xml_node table) const;
    // Checks a structure element and returns the table's name.
    CString CheckStructure(pugi::xml_node table) const;
    // Loads a structure element that passed CheckStructure into descr.
    void LoadStructure(pugi::xml_node table, const CString& name, DbTableDescr& descr) const;
    // Checks a data element against data's descriptor and loads its rows into
    // data (which logs the time taken).
    void LoadRows(pugi::xml_node table, DbTableData& data) const;
    // Parses utf8, the text of one data element, and loads it as LoadRows.
    void LoadRows(std::string_view utf8, DbTableData& data) const;

  private:
    CString m_file;
};

}  // namespace korvan
