// DbItem: the item tree with its change stamps and size estimates, and the
// answers of a subtree kept up to date as its stamps are set.
#include <korvan/model.h>

#include <algorithm>
#include <memory>
#include <typeinfo>
#include <unordered_map>

LONG DbItem::m_changeCounter = 0;

using korvan::ChildAnswers;
using korvan::ItemLinks;
using korvan::LinkPlace;

namespace {

// The links of items of other classes than the library's, by item; an item
// gets an entry once it has anything to keep.
std::unordered_map<const DbItem*, std::unique_ptr<ItemLinks>>& LinksTable() {
    static std::unordered_map<const DbItem*, std::unique_ptr<ItemLinks>> table;
    return table;
}

}  // namespace

namespace korvan {

ChildList::ChildList(const ChildList& other) {
    if (!other.empty()) {
        m_items = std::make_unique<std::vector<DbItem*>>(*other.m_items);
    }
}

ChildList& ChildList::operator=(const ChildList& other) {
    if (this != &other) {
        ChildList copy(other);
        *this = std::move(copy);
    }
    return *this;
}

void ChildList::push_back(DbItem* item) {
    if (m_items == nullptr) {
        m_items = std::make_unique<std::vector<DbItem*>>();
    }
    m_items->push_back(item);
}

void ChildList::reserve(size_t count) {
    if (m_items == nullptr) {
        m_items = std::make_unique<std::vector<DbItem*>>();
    }
    m_items->reserve(count);
}

bool ChildList::remove(DbItem* item) {
    if (m_items == nullptr) {
        return false;
    }
    const auto it = std::find(m_items->begin(), m_items->end(), item);
    if (it == m_items->end()) {
        return false;
    }
    m_items->erase(it);
    return true;
}

ItemLinks::ItemLinks(DbItem* self, DbItem* parent)
    : self(self), parent(parent), registered(parent != nullptr) {
    if (parent != nullptr) {
        ItemLinks& list = *parent->Links(true);
        list.children.push_back(self);
        DbItem::Restructured(&list);
    }
}

ItemLinks::ItemLinks(DbItem* self, const ItemLinks& other)
    : self(self),
      parent(other.parent),
      children(other.children),
      changeId(other.changeId),
      syncId(other.syncId),
      registered(false),
      opaque(!other.children.empty()),  // the children report to other
      newestKnown(false),
      changedKnown(false) {}

ItemLinks::~ItemLinks() {
    if (parent != nullptr) {
        parent->RemoveChild(self);
        parent = nullptr;
    }
    // Children are not touched: the list may still name children that are
    // gone, as it does for a child that was listed twice.
}

}  // namespace korvan

DbItem::DbItem(DbItem* parent) : m_linkPlace(LinkPlace::kTable), m_cellState(0) {
    if (parent != nullptr) {
        LinksTable().emplace(this, std::make_unique<ItemLinks>(this, parent));
    }
}

DbItem::DbItem(LinkPlace place) noexcept : m_linkPlace(place), m_cellState(0) {}

DbItem::DbItem(const DbItem& other) : m_linkPlace(LinkPlace::kTable), m_cellState(0) {
    auto links = std::make_unique<ItemLinks>(this, nullptr);
    other.CopyLinksInto(*links);
    if (links->parent != nullptr || !links->children.empty() || links->changeId != 0 ||
        links->syncId != 0) {
        LinksTable().emplace(this, std::move(links));
    }
}

DbItem& DbItem::operator=(const DbItem& other) {
    if (this == &other) {
        return *this;
    }
    ItemLinks copy(nullptr, nullptr);
    other.CopyLinksInto(copy);
    ItemLinks& links = *Links(true);
    // An item that moves to another parent stays listed in the old one,
    // which can then no longer learn of its stamps.
    if (links.registered && links.parent != copy.parent) {
        ItemLinks& old = *links.parent->Links(true);
        old.opaque = true;
        Restructured(&old);
        links.registered = false;
    }
    links.changeId = copy.changeId;
    links.syncId = copy.syncId;
    links.parent = copy.parent;
    links.children = std::move(copy.children);
    copy.parent = nullptr;
    // The children listed now report their stamps to their own parents.
    links.opaque = !links.children.empty();
    Restructured(&links);
    return *this;
}

DbItem::~DbItem() {
    if (m_linkPlace == LinkPlace::kTable) {
        LinksTable().erase(this);
    }
}

ItemLinks* DbItem::Links(bool make) const {
    auto& table = LinksTable();
    const auto found = table.find(this);
    if (found != table.end()) {
        return found->second.get();
    }
    if (!make) {
        return nullptr;
    }
    auto* self = const_cast<DbItem*>(this);
    return table.emplace(this, std::make_unique<ItemLinks>(self, nullptr)).first->second.get();
}

void DbItem::CopyLinksInto(ItemLinks& copy) const {
    const ItemLinks* mine = Links(false);
    if (mine == nullptr) {
        return;
    }
    copy.parent = mine->parent;
    copy.children = mine->children;
    copy.changeId = mine->changeId;
    copy.syncId = mine->syncId;
    copy.registered = false;
    copy.opaque = !copy.children.empty();
    copy.newestKnown = copy.changedKnown = false;
}

size_t DbItem::UnlistedChildCount() const {
    return 0;
}

void DbItem::AnswerForUnlisted(ChildAnswers& /*answers*/, bool /*newest*/) const {}

bool DbItem::SyncUnlisted() {
    return true;
}

uint64_t DbItem::SizeOfUnlisted() const {
    return 0;
}

DbItem* DbItem::GetParent() const {
    const ItemLinks* links = Links(false);
    return links != nullptr ? links->parent : nullptr;
}

bool DbItem::AnswersAsDbItem(const DbItem& item) {
    // Items of these classes answer as DbItem does, so an ancestor may keep
    // their answers instead of asking them again. An item of any other
    // class, a subclass of these included, is asked every time.
    const std::type_info& type = typeid(item);
    return type == typeid(DbTableRow) || type == typeid(DbRows) || type == typeid(DbTableData) ||
           type == typeid(DbFieldValue) || type == typeid(DbFieldDescr) ||
           type == typeid(DbTableDescr);
}

void DbItem::Answer(const DbItem& child, ChildAnswers& answers, bool newest) {
    const ItemLinks* links = child.Links(false);
    if (newest) {
        answers.newest = std::max(answers.newest, child.GetChangeId());
    } else {
        // Deliberately no early exit: every child is asked.
        answers.changed = child.IsChanged() || answers.changed;
    }
    const bool known = links == nullptr || (newest ? links->newestKnown : links->changedKnown);
    answers.keep = answers.keep && known && AnswersAsDbItem(child);
}

bool DbItem::IsChanged() const {
    ItemLinks* links = Links(false);
    if (links == nullptr) {
        return false;
    }
    return links->changedKnown ? links->changed : WalkChanged(*links);
}

bool DbItem::WalkChanged(ItemLinks& links) const {
    ChildAnswers answers;
    answers.changed = links.changeId > links.syncId;
    answers.keep = !links.opaque;
    for (const DbItem* child : links.children) {
        Answer(*child, answers, false);
    }
    AnswerForUnlisted(answers, false);
    if (answers.keep) {
        links.changed = answers.changed;
        links.changedKnown = true;
    }
    return answers.changed;
}

LONG DbItem::GetChangeId() const {
    ItemLinks* links = Links(false);
    if (links == nullptr) {
        return 0;
    }
    return links->newestKnown ? links->newest : WalkNewest(*links);
}

LONG DbItem::WalkNewest(ItemLinks& links) const {
    ChildAnswers answers;
    answers.newest = links.changeId;
    answers.keep = !links.opaque;
    for (const DbItem* child : links.children) {
        Answer(*child, answers, true);
    }
    AnswerForUnlisted(answers, true);
    if (answers.keep) {
        links.newest = answers.newest;
        links.newestKnown = true;
    }
    return answers.newest;
}

LONG DbItem::NextStamp() {
    return ++m_changeCounter;
}

void DbItem::SetChanged() {
    ItemLinks& links = *Links(true);
    links.changeId = NextStamp();
    Stamped(links, links.changeId);
}

void DbItem::Stamped(ItemLinks& links, LONG stamp) {
    // The new stamp is the newest of all, and the subtrees above now hold a
    // change: both answers follow without a walk. Above an item that knows
    // neither, nothing knows anything either.
    for (ItemLinks* item = &links; item != nullptr; item = Above(*item)) {
        if (!item->newestKnown && !item->changedKnown) {
            break;
        }
        if (item->newestKnown) {
            item->newest = stamp;
        }
        if (item->changedKnown) {
            item->changed = true;
        }
    }
}

void DbItem::Restructured(ItemLinks* links) {
    for (ItemLinks* item = links; item != nullptr; item = Above(*item)) {
        if (!item->newestKnown && !item->changedKnown) {
            break;
        }
        item->newestKnown = false;
        item->changedKnown = false;
    }
}

void DbItem::ChangedUnknownFrom(ItemLinks* item) {
    for (; item != nullptr && item->changedKnown; item = Above(*item)) {
        item->changedKnown = false;
    }
}

ItemLinks* DbItem::Above(const ItemLinks& links) {
    return links.registered ? links.parent->Links(false) : nullptr;
}

void DbItem::Sync() {
    ItemLinks* links = Links(false);
    if (links == nullptr) {
        return;
    }
    links->syncId = links->changeId;
    ChildAnswers answers;
    answers.keep = !links->opaque;
    for (DbItem* child : links->children) {
        child->Sync();
        const ItemLinks* below = child->Links(false);
        answers.keep =
            answers.keep && (below == nullptr || below->changedKnown) && AnswersAsDbItem(*child);
    }
    answers.keep = SyncUnlisted() && answers.keep;
    ChangedUnknownFrom(Above(*links));
    links->changed = false;
    links->changedKnown = answers.keep;
}

uint64_t DbItem::GetSize() const {
    return 8 + 22 * static_cast<uint64_t>(GetChildCount());
}

uint64_t DbItem::CalcSize() const {
    uint64_t size = GetSize() + SizeOfUnlisted();
    if (const ItemLinks* links = Links(false)) {
        for (const DbItem* child : links->children) {
            size += child->CalcSize();
        }
    }
    return size;
}

void DbItem::AddChild(DbItem* child) {
    ItemLinks& links = *Links(true);
    links.children.push_back(child);
    ItemLinks* own = child->Links(false);
    if (own != nullptr && own->parent == this) {
        own->registered = true;
    } else {
        links.opaque = true;  // it reports its stamps elsewhere, if anywhere
    }
    Restructured(&links);
}

void DbItem::RemoveChild(DbItem* child) {
    ItemLinks* links = Links(false);
    if (links == nullptr) {
        return;
    }
    if (links->children.remove(child)) {
        Restructured(links);
    }
}

void DbItem::CopyStamps(DbItem& to, const DbItem& from) {
    ItemLinks copy(nullptr, nullptr);
    from.CopyLinksInto(copy);
    copy.parent = nullptr;
    ItemLinks& links = *to.Links(true);
    links.changeId = copy.changeId;
    links.syncId = copy.syncId;
    Restructured(&links);
}

void DbItem::ReserveChildren(size_t count) {
    korvan::ChildList& children = Links(true)->children;
    children.reserve(children.size() + count);
}

void DbItem::ReleaseChildren() {
    ItemLinks* links = Links(false);
    if (links == nullptr || links->children.empty()) {
        return;
    }
    // The children no longer report here.
    for (DbItem* child : links->children) {
        ItemLinks* own = child->Links(false);
        if (own != nullptr && own->parent == this) {
            own->registered = false;
        }
    }
    links->children.clear();
    links->opaque = false;
    Restructured(links);
}

size_t DbItem::GetChildCount() const {
    const ItemLinks* links = Links(false);
    return (links != nullptr ? links->children.size() : 0) + UnlistedChildCount();
}
