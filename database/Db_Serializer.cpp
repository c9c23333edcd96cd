// DbSerializer: whole databases as access records, from and to XML database
// files and databases reached through ODBC; selection and ordering of access
// records.
#include <korvan/database.h>

#include <algorithm>

#include "database/Db_FileName.h"

bool DbSerializer::Load(const CString& file, DBACCESS_ALL& all) {
    return Load(file, all, DBACCESS::AccessConnection);
}

bool DbSerializer::Load(const CString& file, DBACCESS_ALL& all, const wchar_t* connection) {
    if (korvan::HasExtension(file, L"xml")) {
        DbDatabase db;
        db.GetSource()->SetFile(file, false);
        db.GetSource()->SetSequentialAccess(false);
        db.LoadTables();
        for (int i = 0; i < db.GetTablesCount(); ++i) {
            const CString name = db.GetTableName(static_cast<size_t>(i));
            DBACCESS_VECTOR rows;
            db.GetTable(db.GetTableInfo(name), rows);
            all.push_back({name, rows});
        }
        // Reading is no change: nothing is written back.
        db.Sync();
        return true;
    }
    DBACCESS access(file, DBACCESS::openReadOnly | DBACCESS::noOdbcDialog, connection);
    std::vector<CString> names;
    if (!access.GetTables(names)) {
        return false;
    }
    for (const CString& name : names) {
        DBACCESS_VECTOR rows;
        access.GetTableData(name, rows);
        all.push_back({name, rows});
    }
    return true;
}

bool DbSerializer::Save(const CString& file, const DBACCESS_ALL& all) {
    return Save(file, all, DBACCESS::AccessConnection);
}

bool DbSerializer::Save(const CString& file, const DBACCESS_ALL& all, const wchar_t* connection) {
    if (!korvan::HasExtension(file, L"xml")) {
        DBACCESS access(file, DBACCESS::noOdbcDialog, connection);
        for (const auto& [name, rows] : all) {
            access.SetTableData(name, rows);
        }
        return true;
    }
    // Copying marks the new database changed, so its destructor writes it.
    DbDatabase db;
    db.Create(file);
    db.CopyFrom(all);
    return true;
}

bool DbSerializer::CopyTableFromDatabase(const DBACCESS_ALL& all, const CString& name,
                                         DBACCESS_VECTOR& out) {
    for (const auto& [table, rows] : all) {
        if (table == name) {
            out = rows;
            return true;
        }
    }
    out = DBACCESS_VECTOR();
    return false;
}

bool DbSerializer::CopyTableToDatabase(DBACCESS_ALL& all, const CString& name,
                                       const DBACCESS_VECTOR& in) {
    for (auto& [table, rows] : all) {
        if (table == name) {
            rows = in;
            return true;
        }
    }
    all.push_back({name, in});
    return true;
}

void DbSerializer::Select(const DBACCESS_VECTOR& in, DBACCESS_VECTOR& out,
                          std::vector<const wchar_t*>& columns, bool distinct) {
    DBACCESS_VECTOR selected;
    selected.emptyTable = in.emptyTable;
    selected.messages = in.messages;
    for (const DBACCESS_RECORD& record : in) {
        DBACCESS_RECORD picked;
        for (const wchar_t* name : columns) {
            const int i = record.findIdx(name);
            picked.push_back(i >= 0 ? record[i] : DBACCESS_COLUMN(name));
        }
        if (distinct && std::find(selected.begin(), selected.end(), picked) != selected.end()) {
            continue;
        }
        selected.push_back(picked);
    }
    out = std::move(selected);
}

void DbSerializer::OrderBy(DBACCESS_VECTOR& records, std::vector<const wchar_t*>& columns,
                           bool descending) {
    if (records.empty()) {
        return;
    }
    std::vector<int> keys;
    for (const wchar_t* name : columns) {
        const int i = records[0].findIdx(name);
        if (i >= 0) {
            keys.push_back(i);
        }
    }
    // Records without a key column are left where they compare: every key
    // index exists in the first record, not necessarily in the others.
    auto less = [&keys](const DBACCESS_RECORD& a, const DBACCESS_RECORD& b) {
        for (int key : keys) {
            if (static_cast<size_t>(key) >= a.size() || static_cast<size_t>(key) >= b.size()) {
                return false;
            }
        }
        return DBACCESS_RECORD::Less(a, b, keys);
    };
    if (descending) {
        std::stable_sort(
            records.begin(), records.end(),
            [&less](const DBACCESS_RECORD& a, const DBACCESS_RECORD& b) { return less(b, a); });
    } else {
        std::stable_sort(records.begin(), records.end(), less);
    }
}
