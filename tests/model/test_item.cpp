#include <korvan/model.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

// Counts how often it is asked whether it changed.
class Node : public DbItem {
  public:
    using DbItem::AddChild;
    using DbItem::DbItem;
    bool IsChanged() const override {
        ++asked;
        return DbItem::IsChanged();
    }
    mutable int asked = 0;
};

TEST(DbItemTest, ChangesAreFoundByAskingTheWholeSubtree) {
    Node root;
    Node child(&root);
    Node grandchild(&child);
    Node sibling(&root);
    EXPECT_FALSE(root.IsChanged());
    EXPECT_EQ(root.GetChangeId(), 0);

    grandchild.SetChanged();
    EXPECT_TRUE(child.IsChanged());
    EXPECT_TRUE(root.IsChanged());
    // Deliberately no early exit: the sibling is asked although the child
    // before it already answered.
    EXPECT_EQ(sibling.asked, 2);
    EXPECT_FALSE(sibling.IsChanged());
    EXPECT_EQ(root.GetChangeId(), grandchild.GetChangeId());

    sibling.SetChanged();
    EXPECT_EQ(sibling.GetChangeId(), grandchild.GetChangeId() + 1);
    EXPECT_EQ(root.GetChangeId(), sibling.GetChangeId());

    child.Sync();
    EXPECT_FALSE(child.IsChanged());
    EXPECT_TRUE(root.IsChanged());  // the sibling is not synchronised yet

    root.Sync();
    EXPECT_FALSE(root.IsChanged());
    EXPECT_EQ(root.GetChangeId(), sibling.GetChangeId());  // stamps outlive Sync
}

TEST(DbItemTest, SizesAndChildRegistration) {
    Node root;
    EXPECT_EQ(root.GetSize(), 8u);

    Node a(&root);
    Node b(&root);
    auto c = std::make_unique<Node>(&root);
    EXPECT_EQ(root.GetSize(), 74u);
    EXPECT_EQ(root.CalcSize(), 74u + 3 * 8);

    // A copy refers to the same parent without being registered, so its end
    // leaves the parent's list alone.
    std::make_unique<Node>(a).reset();
    EXPECT_EQ(root.GetSize(), 74u);

    // A child listed twice loses exactly one entry when it is destroyed.
    root.AddChild(c.get());
    EXPECT_EQ(root.GetSize(), 8u + 4 * 22);
    c.reset();
    EXPECT_EQ(root.GetSize(), 74u);
}

// The whole message is checked where a source file is refused.
TEST(DbExceptionTest, TruncatedCopyOfTheMessage) {
    DbException e("Db_Source", 222, StringBuilder(L"Invalid source file '%s'", L"a.xml"));
    wchar_t buffer[8];
    unsigned int help = 7;
    EXPECT_EQ(e.GetErrorMessage(buffer, 8, &help), 1);
    EXPECT_EQ(help, 0u);
    EXPECT_STREQ(buffer, L"Korvan ");

    try {
        e.GetErrorMessage(nullptr, 8);
        ADD_FAILURE() << "a missing buffer must be refused";
    } catch (CInvalidArgException* refused) {
        refused->Delete();
    }
}

}  // namespace
