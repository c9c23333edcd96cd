// DbTableDef: a handle on one table, opened or built field by field and
// appended to the database.
#include <korvan/recordset.h>

#include "model/Db_Exception.h"

DbTableDef::DbTableDef(DbDatabase* db)
    : m_database(db), m_tableDescr(nullptr), m_tableData(nullptr), m_pendingTable(nullptr) {}

DbTableDef::~DbTableDef() {
    DiscardPending();
}

void DbTableDef::DiscardPending() {
    if (m_pendingTable == nullptr) {
        return;
    }
    if (m_tableDescr == m_pendingTable->descr) {
        m_tableDescr = nullptr;
        m_tableData = nullptr;
    }
    delete m_pendingTable->data;
    delete m_pendingTable->descr;
    delete m_pendingTable;
    m_pendingTable = nullptr;
}

bool DbTableDef::Create(CString name) {
    DiscardPending();
    auto* descr = new DbTableDescr(m_database);
    auto* data = new DbTableData(m_database, descr);
    m_pendingTable = new DbTableInfo(name, DbTableInfo::TABLE, 0, CString(), descr, data, nullptr);
    m_tableName = m_pendingTable->name;
    m_tableDescr = descr;
    m_tableData = data;
    return true;
}

bool DbTableDef::Open(CString name) {
    if (name.GetLength() > 0 && name[0] == L'[') {
        name = name.Mid(1);
    }
    if (name.GetLength() > 0 && name[name.GetLength() - 1] == L']') {
        name = name.Left(name.GetLength() - 1);
    }
    DbTableDescr* descr = m_database != nullptr ? m_database->GetTableDescr(name) : nullptr;
    if (descr == nullptr) {
        return false;
    }
    DiscardPending();
    m_tableName = name;
    m_tableDescr = descr;
    m_tableData = m_database->GetTableData(name);
    return true;
}

void DbTableDef::Close() {
    DiscardPending();
    m_tableName.Empty();
    m_tableDescr = nullptr;
    m_tableData = nullptr;
}

DbTableDescr* DbTableDef::GetTableDescr() {
    return m_tableDescr;
}

bool DbTableDef::IsOpen() {
    return m_pendingTable == nullptr && m_tableDescr != nullptr;
}

const CString& DbTableDef::GetTableName() {
    return m_tableName;
}

DbDatabase* DbTableDef::GetDatabase() {
    return m_database;
}

bool DbTableDef::CreateIndex(DbTableDescr::DbIndex& index) {
    return m_tableDescr != nullptr && m_tableDescr->CreateIndex(index.m_name, index.m_fieldNames);
}

bool DbTableDef::CreateField(CString name, DbFieldDescr::eFieldType type) {
    return m_tableDescr != nullptr && m_tableDescr->CreateField(name, false, type);
}

bool DbTableDef::DeleteField(int i) {
    return m_tableDescr != nullptr && m_tableDescr->DeleteField(i);
}

bool DbTableDef::DeleteField(CString name) {
    return m_tableDescr != nullptr && m_tableDescr->DeleteField(name);
}

bool DbTableDef::Append() {
    if (m_pendingTable == nullptr) {
        if (m_database != nullptr) {
            m_database->Log(L"Cannot append database... call DbTableDef::Create(...) first");
        }
        return false;
    }
    DbTableInfo* pending = m_pendingTable;
    if (m_database != nullptr && m_database->CreateTable(pending) != nullptr) {
        // The database took the descriptor and the data; its registry keeps
        // its own entry.
        m_pendingTable = nullptr;
        delete pending;
        return true;
    }
    Close();
    return false;
}

bool DbTableDef::CanUpdate() {
    return true;
}

DbFieldDescr* DbTableDef::GetFieldInfo(CString name) {
    return m_tableDescr != nullptr ? GetFieldInfo(m_tableDescr->GetFieldIndex(name)) : nullptr;
}

DbFieldDescr* DbTableDef::GetFieldInfo(int i) {
    if (m_tableDescr == nullptr || i < 0 || !m_tableDescr->IsField(static_cast<uint64_t>(i))) {
        return nullptr;
    }
    return &m_tableDescr->GetField(i);
}

uint64_t DbTableDef::GetFieldCount() {
    return m_tableDescr != nullptr ? m_tableDescr->GetFieldCount() : 0;
}

LONG DbTableDef::GetRecordCount() {
    if (m_tableData == nullptr) {
        KORVAN_THROW("Db_TableDef", L"Did you forgot to call DbTableDef::Open() first ?");
    }
    return static_cast<LONG>(m_tableData->size());
}
