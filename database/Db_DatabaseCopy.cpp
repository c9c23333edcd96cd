// DbDatabase: tables copied in from access records and out to them, and the
// reading of an mdb source through ODBC.
#include <korvan/database.h>

#include "model/Db_Exception.h"
#include "model/Db_FieldBinary.h"

namespace {

// The field type a column's tag gives a new table: shorts become 4-byte
// integers, deliberately.
DbFieldDescr::eFieldType FieldTypeOf(int tag) {
    switch (tag) {
        case DBACCESS_COLUMN::typeInt:
            return DbFieldDescr::ftBoolean;
        case DBACCESS_COLUMN::typeShort:
        case DBACCESS_COLUMN::typeLong:
            return DbFieldDescr::ftLong;
        case DBACCESS_COLUMN::typeFloat:
            return DbFieldDescr::ftFloat;
        case DBACCESS_COLUMN::typeDouble:
            return DbFieldDescr::ftDouble;
        case DBACCESS_COLUMN::typeBinary:
            return DbFieldDescr::ftBinary;
        case DBACCESS_COLUMN::typeString:
            return DbFieldDescr::ftText;
        default:
            return DbFieldDescr::ftUnknown;
    }
}

// The column of a new field: the first record's, unless that one is NULL
// and a later record has a value there.
const DBACCESS_COLUMN& TypingColumn(const DBACCESS_VECTOR& rows, size_t j) {
    for (const DBACCESS_RECORD& record : rows) {
        if (j < record.size() && !record.columns[j].IsNull()) {
            return record.columns[j];
        }
    }
    return rows[0].columns[j];
}

// A column's value into a cell of type vt: the value by its tag, then
// converted to the cell's type where it differs (a value that does not
// convert keeps its own type).
void StoreValue(const DBACCESS_COLUMN& column, VARTYPE vt, CComVariant& target) {
    target.Clear();
    switch (column.type) {
        case DBACCESS_COLUMN::typeInt:
            target = column.intValue != 0;
            break;
        case DBACCESS_COLUMN::typeShort:
            target = static_cast<int>(column.shortValue);
            break;
        case DBACCESS_COLUMN::typeLong:
            target = static_cast<int>(column.longValue);
            break;
        case DBACCESS_COLUMN::typeFloat:
            target = column.floatValue;
            break;
        case DBACCESS_COLUMN::typeDouble:
            target = column.doubleValue;
            break;
        case DBACCESS_COLUMN::typeBinary:
            korvan::StoreBytes(target, column.binaryValue.GetData(),
                               static_cast<size_t>(column.binaryValue.GetSize()), 0);
            break;
        case DBACCESS_COLUMN::typeString:
            target.vt = VT_BSTR;
            target.bstrVal = LangMappings::Convert(column.stringValue);
            break;
        default:
            break;
    }
    if (target.vt != vt && vt != VT_EMPTY) {
        target.ChangeType(vt);
    }
}

// A cell's value into a column, by the value's type; other types leave the
// column unset.
void LoadValue(const DbFieldValue& cell, DBACCESS_COLUMN& column) {
    const CComVariant& value = cell.GetVariant();
    switch (value.vt) {
        case VT_I2:
            column.shortValue = value.iVal;
            column.type = DBACCESS_COLUMN::typeShort;
            break;
        case VT_I4:
            column = static_cast<long>(value.lVal);
            break;
        case VT_R4:
            column = value.fltVal;
            break;
        case VT_R8:
            column = value.dblVal;
            break;
        case VT_BSTR:
            column = CString(value.bstrVal != nullptr ? value.bstrVal : L"");
            break;
        case VT_BOOL:
            column = static_cast<uint16_t>(value.boolVal) == 0xFFFF;
            break;
        case VT_ARRAY | VT_UI1: {
            LONG lower = 0;
            LONG upper = -1;
            SafeArrayGetLBound(value.parray, 1, &lower);
            SafeArrayGetUBound(value.parray, 1, &upper);
            // Upper bound plus one bytes, never more than the array holds.
            const int64_t held = static_cast<int64_t>(upper) - lower + 1;
            const int64_t count = std::max<int64_t>(0, std::min<int64_t>(upper + 1, held));
            CByteArray bytes;
            bytes.SetSize(count);
            if (count > 0) {
                std::copy_n(static_cast<const BYTE*>(value.parray->pvData), count, bytes.GetData());
            }
            column = bytes;
            break;
        }
        default:
            break;
    }
    column.SetNull(cell.IsNull());
}

}  // namespace

void DbDatabase::CopyFrom(const DBACCESS_ALL& all) {
    int header = -1;
    int properties = -1;
    for (size_t i = 0; i < all.size(); ++i) {
        const CString key = CString(all[i].first).MakeLower();
        if (key == L"header" && header < 0) {
            header = static_cast<int>(i);
        } else if (key == L"properties" && properties < 0) {
            properties = static_cast<int>(i);
        }
    }
    // The header tables take registry positions 0 and 1, which the file
    // format relies on.
    for (int position : {header, properties}) {
        if (position >= 0) {
            CopyTableFrom(all, position);
        } else {
            CreateHeaderTables();
        }
    }
    for (size_t i = 0; i < all.size(); ++i) {
        if (static_cast<int>(i) != header && static_cast<int>(i) != properties) {
            CopyTableFrom(all[i]);
        }
    }
}

void DbDatabase::CopyTableFrom(const DBACCESS_ALL& all, int position) {
    CopyTableFrom(all[static_cast<size_t>(position)]);
}

void DbDatabase::CopyTableFrom(const std::pair<CString, DBACCESS_VECTOR>& table) {
    const CString& name = table.first;
    const DBACCESS_VECTOR& rows = table.second;
    DbTableInfo* entry = GetTableInfo(name);
    if (entry == nullptr) {
        entry = Create(name, DbTableInfo::TABLE, CString(), nullptr);
        if (!rows.empty()) {
            for (size_t j = 0; j < rows[0].size(); ++j) {
                entry->descr->CreateField(rows[0].columns[j].name, false,
                                          FieldTypeOf(TypingColumn(rows, j).type));
            }
        }
    } else {
        entry->data->Clear();
    }
    if (rows.emptyTable) {
        m_importLog.push_back(
            StringBuilder(L"table '%s' found in '%s'", name.GetString(), GetName().GetString()));
        if (!rows.messages.empty()) {
            m_importLog.push_back(L"{");
            for (const CString& message : rows.messages) {
                m_importLog.push_back(StringBuilder(L"   %s", message.GetString()));
            }
            m_importLog.push_back(L"}");
        }
        return;
    }
    if (rows.empty()) {
        return;
    }
    DbTableData& data = *entry->data;
    const DbTableDescr& descr = *entry->descr;
    const uint64_t first = data.AddRows(rows.size());
    for (size_t r = 0; r < rows.size(); ++r) {
        DbTableRow& row = *data.GetRow(static_cast<int>(first + r));
        row.SetTableDescr(entry->descr);
        const DBACCESS_RECORD& record = rows[r];
        const size_t count = std::min({record.size(), row.GetFieldCount(), descr.GetFieldCount()});
        for (size_t j = 0; j < count; ++j) {
            const DBACCESS_COLUMN& column = record.columns[j];
            DbFieldValue& cell = row[j];
            if (column.IsNull()) {
                cell.SetNull(true);
                continue;
            }
            StoreValue(column, descr.GetField(static_cast<int>(j)).GetType(), cell.GetVariant());
        }
    }
}

void DbDatabase::GetTable(DbTableInfo* entry, DBACCESS_VECTOR& out) {
    out.clear();
    DbRows* rows = entry != nullptr ? entry->data->GetRows() : nullptr;
    if (rows == nullptr) {
        return;
    }
    const DbTableDescr& descr = *entry->descr;
    const size_t fields = descr.GetFieldCount();
    out.resize(rows->GetRowsCount());
    for (uint64_t r = 0; r < rows->GetRowsCount(); ++r) {
        const DbTableRow& row = *rows->GetRow(static_cast<int>(r));
        DBACCESS_RECORD& record = out[r];
        record.resize(fields);
        for (size_t j = 0; j < fields; ++j) {
            DBACCESS_COLUMN& column = record.columns[j];
            if (row.GetFieldCount() != fields) {
                // The mark of a damaged row.
                column.shortValue = -1;
                column.type = DBACCESS_COLUMN::typeShort;
                continue;
            }
            column.name = descr.GetField(static_cast<int>(j)).GetName();
            LoadValue(row[j], column);
        }
    }
}

void DbDatabase::GetTable(const CString& name, DBACCESS_VECTOR& out) {
    DbTableInfo* entry = GetTableInfo(name);
    if (entry != nullptr) {
        GetTable(entry, out);
    }
}

// The whole file is read at once, empty tables with the definition of their
// columns. A driver failure is the reading's failure.
void DbDatabase::ImportMdb() {
    const CString& file = m_source->GetFile();
    DBACCESS_ALL all;
    bool loaded = false;
    DBACCESS::m_forceExtractTableDefiniton = true;
    try {
        loaded = DbSerializer::Load(file, all);
    } catch (CDBException* e) {
        DBACCESS::m_forceExtractTableDefiniton = false;
        const CString message = e->m_strError;
        e->Delete();
        KORVAN_THROW("Db_Database", message);
    } catch (...) {
        DBACCESS::m_forceExtractTableDefiniton = false;
        throw;
    }
    DBACCESS::m_forceExtractTableDefiniton = false;
    if (!loaded) {
        KORVAN_THROW("Db_Database",
                     StringBuilder(L"Cannot list the tables of '%s'", file.GetString()));
    }
    CopyFrom(all);
}
