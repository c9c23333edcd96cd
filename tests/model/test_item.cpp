#include <korvan/model.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

class Node : public DbItem {
  public:
    using DbItem::AddChild;
    using DbItem::DbItem;
};

// Counts how often it is asked whether it changed.
class Probe : public Node {
  public:
    using Node::Node;
    bool IsChanged() const override {
        ++asked;
        return Node::IsChanged();
    }
    mutable int asked = 0;
};

TEST(DbItemTest, ChangesAreFoundByAskingTheSubtree) {
    Node root;
    Node child(&root);
    Node grandchild(&child);
    Node sibling(&root);
    EXPECT_FALSE(root.IsChanged());
    EXPECT_EQ(root.GetChangeId(), 0);

    grandchild.SetChanged();
    EXPECT_TRUE(grandchild.IsChanged());
    EXPECT_TRUE(child.IsChanged());
    EXPECT_TRUE(root.IsChanged());
    EXPECT_FALSE(sibling.IsChanged());
    EXPECT_EQ(root.GetChangeId(), grandchild.GetChangeId());

    sibling.SetChanged();
    EXPECT_EQ(sibling.GetChangeId(), grandchild.GetChangeId() + 1);
    EXPECT_EQ(root.GetChangeId(), sibling.GetChangeId());

    child.Sync();
    EXPECT_FALSE(child.IsChanged());
    EXPECT_FALSE(grandchild.IsChanged());
    EXPECT_TRUE(root.IsChanged());  // the sibling is not synchronised yet

    root.Sync();
    EXPECT_FALSE(root.IsChanged());
    EXPECT_FALSE(sibling.IsChanged());
    EXPECT_EQ(root.GetChangeId(), sibling.GetChangeId());  // stamps outlive Sync
}

TEST(DbItemTest, EveryChildIsAskedEvenWhenTheAnswerIsKnown) {
    Node root;
    root.SetChanged();
    Probe first(&root);
    Probe second(&root);
    first.SetChanged();
    EXPECT_TRUE(root.IsChanged());
    EXPECT_EQ(first.asked, 1);
    EXPECT_EQ(second.asked, 1);
}

TEST(DbItemTest, SizesAndChildRegistration) {
    Node root;
    EXPECT_EQ(root.GetSize(), 8u);
    EXPECT_EQ(root.CalcSize(), 8u);

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

TEST(DbExceptionTest, MessageAndTruncatedCopy) {
    DbException e("Db_Source", 222, StringBuilder(L"Invalid source file '%s'", L"a.xml"));
    EXPECT_EQ(e.Message(),
              CString(L"Korvan exception thrown\r\nFile: Db_Source @ 222\r\nMessage: Invalid "
                      L"source file 'a.xml'"));

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
