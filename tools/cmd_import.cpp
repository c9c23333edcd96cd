// tools/cmd_import.cpp - "korvan import": the rows of a CSV file into a table,
// a new one made through DbTableDef or an existing one, then the database
// saved; nothing is saved unless every line went in.
#include "command.h"
#include "csv_reader.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <sstream>

namespace korvan::cli {
namespace {

using FieldType = DbFieldDescr::eFieldType;

const std::map<std::string, FieldType>& TypeNames() {
    static const std::map<std::string, FieldType> names{
        {"boolean", DbFieldDescr::ftBoolean}, {"integer", DbFieldDescr::ftInteger},
        {"long", DbFieldDescr::ftLong},       {"float", DbFieldDescr::ftFloat},
        {"double", DbFieldDescr::ftDouble},   {"text", DbFieldDescr::ftText},
        {"binary", DbFieldDescr::ftBinary}};
    return names;
}

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::vector<std::string> SplitList(const std::string& list) {
    std::vector<std::string> items;
    std::stringstream in(list);
    for (std::string item; std::getline(in, item, ',');) {
        items.push_back(item);
    }
    return items;
}

bool ReadBoolean(const std::string& text, bool& value) {
    const std::string word = Lower(text);
    value = word == "true";
    return word == "true" || word == "false";
}

// A whole number that fits 32 bits, digits with an optional sign.
bool ReadLong(const std::string& text, LONG& value) {
    const size_t digits = text.find_first_not_of("+-") == 1 ? 1 : 0;
    if (text.size() <= digits ||
        text.find_first_not_of("0123456789", digits) != std::string::npos) {
        return false;
    }
    errno = 0;
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    if (errno != 0 || number < std::numeric_limits<LONG>::min() ||
        number > std::numeric_limits<LONG>::max()) {
        return false;
    }
    value = static_cast<LONG>(number);
    return true;
}

// A finite number with a decimal point, as the C locale writes it.
bool ReadDouble(const std::string& text, double& value) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return *end == 0 && std::isfinite(value);
}

// The type every value of a column fits, the narrowest first; empty values
// fit any.
FieldType InferType(const std::vector<CsvRecord>& records, size_t column) {
    bool boolean = true;
    bool whole = true;
    bool real = true;
    bool any = false;
    for (const CsvRecord& record : records) {
        const std::string& text = record.fields[column].text;
        if (text.empty()) {
            continue;
        }
        any = true;
        bool b;
        LONG l;
        double d;
        boolean = boolean && ReadBoolean(text, b);
        whole = whole && ReadLong(text, l);
        real = real && ReadDouble(text, d);
    }
    if (!any) {
        return DbFieldDescr::ftText;
    }
    return boolean ? DbFieldDescr::ftBoolean
           : whole ? DbFieldDescr::ftLong
           : real  ? DbFieldDescr::ftDouble
                   : DbFieldDescr::ftText;
}

// The value of a CSV field for a field of the table; false when it does not
// fit.
bool FieldValue(const CsvField& field, const DbFieldDescr& descr, CComVariant& value) {
    const std::string& text = field.text;
    bool boolean = false;
    LONG whole = 0;
    double real = 0;
    switch (descr.GetDbType()) {
        case DbFieldDescr::ftBoolean:
            if (!ReadBoolean(text, boolean)) {
                return false;
            }
            value = CComVariant(boolean);
            return true;
        case DbFieldDescr::ftInteger:
        case DbFieldDescr::ftLong:
            if (!ReadLong(text, whole)) {
                return false;
            }
            value = CComVariant(static_cast<long>(whole));
            return true;
        case DbFieldDescr::ftFloat:
            if (!ReadDouble(text, real) || std::fabs(real) > std::numeric_limits<float>::max()) {
                return false;
            }
            value = CComVariant(static_cast<float>(real));
            return true;
        case DbFieldDescr::ftDouble:
            if (!ReadDouble(text, real)) {
                return false;
            }
            value = CComVariant(real);
            return true;
        case DbFieldDescr::ftBinary: {
            // The text form the library writes for binary values: base64.
            DbFieldValue cell(nullptr, -1);
            cell.ValueFromString(descr, CString(text.c_str()));
            value = cell.GetValue();
            return true;
        }
        default:
            value = CComVariant(CString(text.c_str()));
            return true;
    }
}

class ImportCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        app.add_option("FILE", m_file,
                       "(required) the database file (.xml) to import into; made when missing")
            ->required();
        app.add_option("TABLE", m_table, "(required) the table to fill, new or existing")
            ->required();
        app.add_option("DATA", m_data, "(required) the CSV file (RFC 4180, UTF-8) to read")
            ->required();
        app.add_option("--types", m_types,
                       "for a new table, the field types: one per column in order "
                       "(long,text,...) or NAME=TYPE for some; the others are inferred")
            ->option_text("TYPES");
        app.add_option("--key", m_keys, "for a new table, the key field(s), separated by commas")
            ->option_text("FIELDS");
        app.footer(R"(The first line of DATA names the fields. A new TABLE gets one field per column
(through DbTableDef), typed from the column's values unless --types says:
boolean when every value is true or false, long when every value is a whole
number that fits 32 bits, double when every value is a number, text otherwise
(types: boolean, integer, long, float, double, text, binary). An existing TABLE
must have a field of every column's name; its rows are added after the others
(AddNew, SetFieldValue, Update). An empty field leaves the field's default.

FILE is saved only when every line went in, and then atomically: a malformed
line or a value that does not fit its field stops the import with its line
number and leaves FILE as it was.

Examples:
  korvan import catalogue.xml parts parts.csv --key id
  korvan import catalogue.xml parts more_parts.csv
  korvan import new.xml sizes sizes.csv --types size=text,mass=double)");
    }

    void Run(Session& session) override {
        std::vector<CsvRecord> records = ReadData();
        const CsvRecord header = records.front();
        records.erase(records.begin());
        DbDatabase& db = session.OpenOrCreate(m_file);
        session.LoadTables();
        const CString table(m_table.c_str());
        const DbTableInfo* existing = db.GetTableInfo(table);
        if (existing != nullptr && (!m_types.empty() || !m_keys.empty())) {
            throw ToolError(kExitUsage, "--types and --key are for a new table; '" + m_table +
                                            "' is in " + m_file + " already");
        }
        if (existing != nullptr && existing->type != DbTableInfo::TABLE) {
            throw ToolError(kExitFailure, "'" + m_table + "' is a query answer, not a table");
        }
        if (existing == nullptr) {
            CreateTable(session, db, header, records);
        }

        DbRecordset recordset;
        session.OpenRecordset(recordset, m_table);
        std::vector<uint64_t> fields;
        for (const CsvField& name : header.fields) {
            const DbFieldDescr* field = recordset.GetFieldInfo(CString(name.text.c_str()));
            if (field == nullptr) {
                throw ToolError(kExitFailure, "line " + std::to_string(header.line) +
                                                  ": no field '" + name.text + "' in table '" +
                                                  m_table + "'");
            }
            fields.push_back(static_cast<uint64_t>(field->GetIndex()));
        }
        for (const CsvRecord& record : records) {
            AddRow(recordset, header, fields, record);
        }
        if (!db.Save(CString(m_file.c_str()))) {
            session.Fail("cannot save " + m_file, session.TakeLog());
        }
        std::cout << records.size() << (records.size() == 1 ? " row" : " rows")
                  << " imported into '" << m_table << "'"
                  << (existing == nullptr ? " (a new table)" : "") << '\n';
    }

  private:
    // Every record of DATA, the header first, each as wide as the header.
    std::vector<CsvRecord> ReadData() const {
        std::ifstream in(m_data, std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (!in.is_open() || in.bad()) {
            throw ToolError(kExitFailure, "cannot read '" + m_data + "': " + std::strerror(errno));
        }
        std::vector<CsvRecord> records;
        try {
            CsvReader reader(std::move(text));
            for (CsvRecord record; reader.Next(record);) {
                records.push_back(record);
            }
        } catch (const CsvError& e) {
            throw ToolError(kExitFailure, m_data + ": " + e.what());
        }
        if (records.empty()) {
            throw ToolError(kExitFailure, m_data + ": no header line naming the fields");
        }
        std::map<std::string, size_t> seen;
        for (const CsvField& name : records.front().fields) {
            if (name.text.empty() || !seen.emplace(Lower(name.text), 0).second) {
                throw ToolError(kExitFailure,
                                m_data + ": line " + std::to_string(records.front().line) +
                                    ": field names must be given and differ: '" + name.text + "'");
            }
        }
        const size_t width = records.front().fields.size();
        for (const CsvRecord& record : records) {
            if (record.fields.size() != width) {
                throw ToolError(kExitFailure, m_data + ": line " + std::to_string(record.line) +
                                                  ": " + std::to_string(record.fields.size()) +
                                                  " fields where the header has " +
                                                  std::to_string(width));
            }
        }
        return records;
    }

    // The types --types gives, by column; unknown where it gives none.
    std::vector<int> GivenTypes(const CsvRecord& header) const {
        std::vector<int> types(header.fields.size(), -1);
        const std::vector<std::string> items = SplitList(m_types);
        const bool named = !items.empty() && items[0].find('=') != std::string::npos;
        if (!named && !items.empty() && items.size() != types.size()) {
            throw ToolError(kExitUsage, "--types gives " + std::to_string(items.size()) +
                                            " types for " + std::to_string(types.size()) +
                                            " columns");
        }
        for (size_t i = 0; i < items.size(); ++i) {
            const size_t equals = items[i].find('=');
            if (named != (equals != std::string::npos)) {
                throw ToolError(kExitUsage,
                                "--types: give every type by position or every one "
                                "as NAME=TYPE");
            }
            size_t column = i;
            if (named) {
                column = ColumnOf(header, items[i].substr(0, equals), "--types");
            }
            const auto type = TypeNames().find(Lower(items[i].substr(named ? equals + 1 : 0)));
            if (type == TypeNames().end()) {
                throw ToolError(kExitUsage, "--types: unknown type in '" + items[i] +
                                                "' (boolean, integer, long, float, double, "
                                                "text, binary)");
            }
            types[column] = type->second;
        }
        return types;
    }

    static size_t ColumnOf(const CsvRecord& header, const std::string& name, const char* option) {
        for (size_t i = 0; i < header.fields.size(); ++i) {
            if (Lower(header.fields[i].text) == Lower(name)) {
                return i;
            }
        }
        throw ToolError(kExitUsage, std::string(option) + ": no column '" + name + "'");
    }

    void CreateTable(Session& session, DbDatabase& db, const CsvRecord& header,
                     const std::vector<CsvRecord>& records) const {
        const std::vector<int> given = GivenTypes(header);
        DbTableDef def(&db);
        def.Create(CString(m_table.c_str()));
        for (size_t i = 0; i < header.fields.size(); ++i) {
            const FieldType type =
                given[i] >= 0 ? static_cast<FieldType>(given[i]) : InferType(records, i);
            def.CreateField(CString(header.fields[i].text.c_str()), type);
        }
        for (const std::string& key : SplitList(m_keys)) {
            def.GetFieldInfo(static_cast<int>(ColumnOf(header, key, "--key")))->SetKey(true);
        }
        if (!def.Append()) {
            session.Fail("table '" + m_table + "' cannot be made", session.TakeLog());
        }
    }

    void AddRow(DbRecordset& recordset, const CsvRecord& header,
                const std::vector<uint64_t>& fields, const CsvRecord& record) const {
        recordset.AddNew();
        for (size_t i = 0; i < fields.size(); ++i) {
            const CsvField& field = record.fields[i];
            if (field.text.empty() && !field.quoted) {
                continue;  // the field keeps its default
            }
            const DbFieldDescr& descr = *recordset.GetFieldInfo(fields[i]);
            CComVariant value;
            if (!FieldValue(field, descr, value)) {
                throw ToolError(kExitFailure,
                                m_data + ": line " + std::to_string(record.line) + ": '" +
                                    field.text + "' is not a " + descr.GetTypeString().ToUtf8() +
                                    " value for field '" + header.fields[i].text + "'");
            }
            recordset.SetFieldValue(fields[i], value);
        }
        recordset.Update();
    }

    std::string m_file;
    std::string m_table;
    std::string m_data;
    std::string m_types;
    std::string m_keys;
};

const RegisterCommand<ImportCommand> registration(
    "import", "add the rows of a CSV file to a table (made when new), then save the file", 45);

}  // namespace
}  // namespace korvan::cli
