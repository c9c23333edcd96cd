// DbItem: the item tree with its change stamps and size estimates.
#include <korvan/model.h>

#include <algorithm>

LONG DbItem::m_changeCounter = 0;

DbItem::DbItem(DbItem* parent) : m_parent(parent), m_changeId(0), m_syncId(0) {
    if (m_parent) {
        m_parent->AddChild(this);
    }
}

DbItem::DbItem(const DbItem& other)
    : m_parent(other.m_parent),
      m_children(other.m_children),
      m_changeId(other.m_changeId),
      m_syncId(other.m_syncId) {}

DbItem& DbItem::operator=(const DbItem& other) {
    m_changeId = other.m_changeId;
    m_syncId = other.m_syncId;
    m_parent = other.m_parent;
    m_children = other.m_children;
    return *this;
}

DbItem::~DbItem() {
    if (m_parent) {
        m_parent->RemoveChild(this);
        m_parent = nullptr;
    }
    m_children.clear();
}

DbItem* DbItem::GetParent() const {
    return m_parent;
}

bool DbItem::IsChanged() const {
    bool changed = m_changeId > m_syncId;
    for (const DbItem* child : m_children) {
        // Deliberately no early exit: every child is asked.
        changed = child->IsChanged() || changed;
    }
    return changed;
}

void DbItem::SetChanged() {
    m_changeId = ++m_changeCounter;
}

void DbItem::Sync() {
    m_syncId = m_changeId;
    for (DbItem* child : m_children) {
        child->Sync();
    }
}

LONG DbItem::GetChangeId() const {
    LONG newest = m_changeId;
    for (const DbItem* child : m_children) {
        newest = std::max(newest, child->GetChangeId());
    }
    return newest;
}

uint64_t DbItem::GetSize() const {
    return 8 + 22 * static_cast<uint64_t>(m_children.size());
}

uint64_t DbItem::CalcSize() const {
    uint64_t size = GetSize();
    for (const DbItem* child : m_children) {
        size += child->CalcSize();
    }
    return size;
}

void DbItem::AddChild(DbItem* child) {
    m_children.push_back(child);
}

void DbItem::RemoveChild(DbItem* child) {
    const auto it = std::find(m_children.begin(), m_children.end(), child);
    if (it != m_children.end()) {
        m_children.erase(it);
    }
}

void DbItem::CopyStamps(DbItem& to, const DbItem& from) {
    to.m_changeId = from.m_changeId;
    to.m_syncId = from.m_syncId;
}

void DbItem::ReserveChildren(size_t count) {
    m_children.reserve(m_children.size() + count);
}

void DbItem::ReleaseChildren() {
    m_children.clear();
}
