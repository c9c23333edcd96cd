// DbItem: the item tree with its change stamps and size estimates.
#include <korvan/model.h>

#include <algorithm>
#include <typeinfo>

LONG DbItem::m_changeCounter = 0;

namespace {

// Items of these classes answer IsChanged and GetChangeId as DbItem does, so
// an ancestor may keep their answers instead of asking them again. An item
// of any other class, a subclass of these included, is asked every time.
bool AnswersAsDbItem(const DbItem& item) {
    const std::type_info& type = typeid(item);
    return type == typeid(DbTableRow) || type == typeid(DbRows) || type == typeid(DbTableData) ||
           type == typeid(DbFieldValue) || type == typeid(DbFieldDescr) ||
           type == typeid(DbTableDescr);
}

}  // namespace

DbItem::DbItem(DbItem* parent)
    : m_parent(parent),
      m_changeId(0),
      m_syncId(0),
      m_newest(0),
      m_registered(parent != nullptr),
      m_opaque(false),
      m_newestKnown(true),
      m_changedKnown(true),
      m_changed(false) {
    if (m_parent) {
        m_parent->AddChild(this);
    }
}

DbItem::DbItem(const DbItem& other)
    : m_parent(other.m_parent),
      m_children(other.m_children),
      m_changeId(other.m_changeId),
      m_syncId(other.m_syncId),
      m_newest(0),
      m_registered(false),
      m_opaque(!other.m_children.empty()),  // the children report to other
      m_newestKnown(false),
      m_changedKnown(false),
      m_changed(false) {}

DbItem& DbItem::operator=(const DbItem& other) {
    if (this == &other) {
        return *this;
    }
    // An item that moves to another parent stays listed in the old one,
    // which can then no longer learn of its stamps.
    if (m_registered && m_parent != other.m_parent) {
        m_parent->m_opaque = true;
        m_parent->Restructured();
        m_registered = false;
    }
    m_changeId = other.m_changeId;
    m_syncId = other.m_syncId;
    m_parent = other.m_parent;
    m_children = other.m_children;
    // The children listed now report their stamps to their own parents.
    m_opaque = !m_children.empty();
    Restructured();
    return *this;
}

DbItem::~DbItem() {
    if (m_parent) {
        m_parent->RemoveChild(this);
        m_parent = nullptr;
    }
    // Children are not touched: the list may still name children that are
    // gone, as it does for a child that was listed twice.
    m_children.clear();
}

DbItem* DbItem::GetParent() const {
    return m_parent;
}

bool DbItem::IsChanged() const {
    return m_changedKnown ? m_changed : WalkChanged();
}

bool DbItem::WalkChanged() const {
    bool changed = m_changeId > m_syncId;
    bool keep = !m_opaque;
    for (const DbItem* child : m_children) {
        // Deliberately no early exit: every child is asked.
        changed = child->IsChanged() || changed;
        keep = keep && AnswersAsDbItem(*child) && child->m_changedKnown;
    }
    if (keep) {
        m_changed = changed;
        m_changedKnown = true;
    }
    return changed;
}

void DbItem::SetChanged() {
    m_changeId = ++m_changeCounter;
    Stamped();
}

void DbItem::Stamped() {
    // The new stamp is the newest of all, and this subtree now holds a
    // change: both answers follow without a walk.
    for (DbItem* item = this; item != nullptr;
         item = item->m_registered ? item->m_parent : nullptr) {
        if (!item->m_newestKnown && !item->m_changedKnown) {
            break;  // nothing above knows anything either
        }
        if (item->m_newestKnown) {
            item->m_newest = m_changeId;
        }
        if (item->m_changedKnown) {
            item->m_changed = true;
        }
    }
}

void DbItem::Restructured() {
    for (DbItem* item = this; item != nullptr;
         item = item->m_registered ? item->m_parent : nullptr) {
        if (!item->m_newestKnown && !item->m_changedKnown) {
            break;
        }
        item->m_newestKnown = false;
        item->m_changedKnown = false;
    }
}

void DbItem::Sync() {
    m_syncId = m_changeId;
    bool keep = !m_opaque;
    for (DbItem* child : m_children) {
        child->Sync();
        keep = keep && AnswersAsDbItem(*child) && child->m_changedKnown;
    }
    // Whether the items above still hold a change is open.
    if (m_registered) {
        for (DbItem* item = m_parent; item != nullptr && item->m_changedKnown;
             item = item->m_registered ? item->m_parent : nullptr) {
            item->m_changedKnown = false;
        }
    }
    m_changed = false;
    m_changedKnown = keep;
}

LONG DbItem::GetChangeId() const {
    return m_newestKnown ? m_newest : WalkNewest();
}

LONG DbItem::WalkNewest() const {
    LONG newest = m_changeId;
    bool keep = !m_opaque;
    for (const DbItem* child : m_children) {
        newest = std::max(newest, child->GetChangeId());
        keep = keep && AnswersAsDbItem(*child) && child->m_newestKnown;
    }
    if (keep) {
        m_newest = newest;
        m_newestKnown = true;
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
    if (child->m_parent == this) {
        child->m_registered = true;
    } else {
        m_opaque = true;  // it reports its stamps elsewhere, if anywhere
    }
    Restructured();
}

void DbItem::RemoveChild(DbItem* child) {
    const auto it = std::find(m_children.begin(), m_children.end(), child);
    if (it != m_children.end()) {
        m_children.erase(it);
        Restructured();
    }
}

void DbItem::CopyStamps(DbItem& to, const DbItem& from) {
    to.m_changeId = from.m_changeId;
    to.m_syncId = from.m_syncId;
    to.Restructured();
}

void DbItem::ReserveChildren(size_t count) {
    m_children.reserve(m_children.size() + count);
}

void DbItem::ReleaseChildren() {
    // The children no longer report here.
    for (DbItem* child : m_children) {
        if (child->m_parent == this) {
            child->m_registered = false;
        }
    }
    if (!m_children.empty()) {
        m_children.clear();
        m_opaque = false;
        Restructured();
    }
}
