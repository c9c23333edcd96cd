// DbQueryDef: a named query text, verified against its database.
#include <korvan/recordset.h>

#include "model/Db_Exception.h"

DbQueryDef::DbQueryDef(DbDatabase* db) : m_database(db) {}

DbQueryDef::~DbQueryDef() = default;

void DbQueryDef::Close() {
    m_database = nullptr;
    m_sql.Empty();
}

const CString& DbQueryDef::GetSQL() {
    return m_sql;
}

void DbQueryDef::Create(CString name, CString sql) {
    m_queryName = name;
    m_sql = sql;
    if (m_database == nullptr || !m_database->VerifySQL(sql)) {
        KORVAN_THROW("Db_QueryDef", StringBuilder(L"Invalid '%s' query", sql.GetString()));
    }
}

bool DbQueryDef::IsOpen() {
    // Verified each time: the tables may have changed since Create.
    return m_database != nullptr && m_database->VerifySQL(m_sql);
}

DbDatabase* DbQueryDef::GetDatabase() {
    return m_database;
}
