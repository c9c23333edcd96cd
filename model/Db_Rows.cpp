// DbRows: the rows of a table or a query answer, as positions into a row
// store that is the container's own or, once bound, another container's.
#include <korvan/model.h>

#include "model/Db_RowCells.h"

#include <algorithm>
#include <new>

namespace {

// Makes room for count more entries in one step, growing geometrically so
// that many small additions stay linear overall.
template <typename T>
void Grow(std::vector<T>& list, uint64_t count) {
    const size_t needed = list.size() + static_cast<size_t>(count);
    if (needed > list.capacity()) {
        list.reserve(std::max(needed, list.capacity() * 2));
    }
}

// Removes the first entry equal to position and closes the gap in the
// numbering of the entries after it.
void RemovePosition(std::vector<uint64_t>& order, uint64_t position) {
    const auto it = std::find(order.begin(), order.end(), position);
    if (it != order.end()) {
        order.erase(it);
    }
    for (uint64_t& entry : order) {
        if (entry > position) {
            --entry;
        }
    }
}

}  // namespace

DbRows::DbRows(DbItem* parent, DbTableDescr* descr)
    : DbItem(korvan::LinkPlace::kInside),
      m_links(this, parent),
      m_descr(descr),
      m_store(nullptr),
      m_boundTo(nullptr),
      m_ownStore(new std::vector<DbTableRow*>()),
      m_memory(nullptr),
      m_ownMemory(nullptr) {
    m_store = m_ownStore;
    try {
        m_ownMemory = new korvan::RowMemory();
    } catch (...) {
        delete m_ownStore;
        throw;
    }
    m_memory = m_ownMemory;
}

DbRows::DbRows(const DbRows& other)
    : DbItem(korvan::LinkPlace::kInside),
      m_links(this, other.m_links),
      m_descr(other.m_descr),
      m_order(other.m_order),
      m_store(nullptr),
      m_boundTo(other.m_boundTo),
      m_ownStore(new std::vector<DbTableRow*>()),
      m_memory(nullptr),
      m_ownMemory(nullptr) {
    // The item copy listed other's children; this copy's are its own rows.
    ReleaseChildren();
    try {
        m_ownMemory = new korvan::RowMemory();
        CopyOwnRows(other);
    } catch (...) {
        if (m_ownMemory != nullptr) {
            DestroyOwnRows();
            delete m_ownMemory;
        }
        delete m_ownStore;
        throw;
    }
    m_store = m_boundTo ? other.m_store : m_ownStore;
    m_memory = m_boundTo ? other.m_memory : m_ownMemory;
}

DbRows& DbRows::operator=(const DbRows& other) {
    if (this != &other) {
        DestroyOwnRows();
        CopyStamps(*this, other);
        m_descr = other.m_descr;
        m_order = other.m_order;
        m_boundTo = other.m_boundTo;
        m_store = m_boundTo ? other.m_store : m_ownStore;
        m_memory = m_boundTo ? other.m_memory : m_ownMemory;
        CopyOwnRows(other);
    }
    return *this;
}

DbRows::~DbRows() {
    // A source's store belongs to the source.
    DestroyOwnRows();
    delete m_ownStore;
    delete m_ownMemory;
}

korvan::ItemLinks* DbRows::Links(bool /*make*/) const {
    return &m_links;
}

namespace korvan {

// Rows are made in a container's row memory, each with its own block of
// cells right behind it.
struct RowMaker {
    static DbTableRow* Make(RowMemory& memory, DbItem* parent, DbTableDescr* descr, size_t cells,
                            bool withDefaults) {
        const size_t bytes = RowCells::RowBytes(cells);
        void* space = memory.Allocate(bytes);
        DbTableRow* row = nullptr;
        try {
            row = new (space) DbTableRow(parent);
        } catch (...) {
            memory.Release(space);
            throw;
        }
        row->SetTableDescr(descr);
        if (cells > 0) {
            try {
                RowCells::Create(*row, withDefaults,
                                 static_cast<char*>(space) + RowCells::CellsOffset());
            } catch (...) {
                Destroy(memory, row);
                throw;
            }
        }
        return row;
    }
    static void Destroy(RowMemory& memory, DbTableRow* row) {
        row->~DbTableRow();
        memory.Release(row);
    }
};

}  // namespace korvan

void DbRows::CopyOwnRows(const DbRows& other) {
    ReserveChildren(other.m_ownStore->size());
    m_ownStore->reserve(other.m_ownStore->size());
    for (const DbTableRow* row : *other.m_ownStore) {
        // A copy's cells are made by the assignment.
        m_ownStore->push_back(korvan::RowMaker::Make(*m_ownMemory, this, m_descr, 0, false));
        *m_ownStore->back() = *row;
    }
}

void DbRows::DestroyOwnRows() {
    // The rows go all at once: forgetting them first keeps each removal from
    // the child list immediate. Rows added through this container while it
    // is bound stand in the source's store and are the source's children.
    ReleaseChildren();
    for (DbTableRow* row : *m_ownStore) {
        row->~DbTableRow();
    }
    m_ownStore->clear();
    m_ownMemory->Clear();
}

uint64_t DbRows::AddRow(bool withDefaults) {
    return AddRows(1, withDefaults);
}

uint64_t DbRows::AddRows(uint64_t count, bool withDefaults) {
    const uint64_t first = m_order.size();
    const size_t cells = m_descr != nullptr ? m_descr->GetFieldCount() : 0;
    Grow(*m_store, count);
    Grow(m_order, count);
    if (m_boundTo) {
        Grow(m_boundTo->m_order, count);
    }
    m_memory->Reserve(static_cast<size_t>(count) * korvan::RowCells::RowBytes(cells));
    DbItem* parent = m_boundTo ? static_cast<DbItem*>(m_boundTo) : this;
    for (uint64_t i = 0; i < count; ++i) {
        DbTableRow* row = korvan::RowMaker::Make(*m_memory, parent, m_descr, cells, withDefaults);
        const uint64_t position = m_store->size();
        m_order.push_back(position);
        if (m_boundTo) {
            m_boundTo->m_order.push_back(position);
        }
        m_store->push_back(row);
    }
    return first;
}

void DbRows::DeleteRow(uint64_t i) {
    if (i >= m_order.size()) {
        return;
    }
    const auto slot = m_store->begin() + static_cast<std::ptrdiff_t>(m_order[i]);
    korvan::RowMaker::Destroy(*m_memory, *slot);
    m_store->erase(slot);
    // Deliberately the argument, not the store position: the two are the
    // same for a table's own container, whose order is the identity.
    RemovePosition(m_order, i);
    if (m_boundTo) {
        RemovePosition(m_boundTo->m_order, i);
    }
}

void DbRows::Update(uint64_t field, bool insert) {
    for (const uint64_t position : m_order) {
        DbTableRow& row = *(*m_store)[position];
        if (insert) {
            // Not the column's default: a new cell is not null and empty.
            korvan::RowCells::Insert(row, static_cast<size_t>(field));
        } else {
            korvan::RowCells::Remove(row, static_cast<size_t>(field));
        }
    }
}

void DbRows::Bind(DbRows* source, std::vector<uint64_t>& order) {
    if (!source || source == this) {
        return;
    }
    // The own store is no longer shown. Rows it might hold are not destroyed:
    // they stay this container's children, and the destructor destroys them
    // with the store, which containers bound to this one may still show.
    m_boundTo = source;
    m_store = source->m_store;
    m_memory = source->m_memory;
    m_order.insert(m_order.begin(), order.begin(), order.end());
}

DbTableRow* DbRows::GetLastRow() const {
    return m_order.empty() ? nullptr : (*m_store)[m_order.back()];
}
