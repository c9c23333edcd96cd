#include <gtest/gtest.h>
#include <korvan/query.h>

#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

// An operand that records in which order the clause asked it.
class Probe : public clv::expr {
  public:
    Probe(bool v, int id, std::vector<int>* log) : clv::expr(v), m_id(id), m_log(log) {}
    bool value() const override {
        m_log->push_back(m_id);
        return m_value;
    }

  private:
    int m_id;
    std::vector<int>* m_log;
};

// A clause built from words: "1" and "0" are operands of that value,
// numbered in order, "null" a missing operand. The clause sits on the heap so
// that a test can drop it before its operands.
struct Built {
    explicit Built(const std::string& text) { Append(text); }

    void Append(const std::string& text) {
        static const std::map<std::string, void (clv::clause::*)()> kOthers = {
            {"AND", &clv::clause::and_},
            {"OR", &clv::clause::or_},
            {"NOT", &clv::clause::not_},
            {"(", &clv::clause::leftBracket},
            {")", &clv::clause::rightBracket}};
        std::istringstream words(text);
        std::string w;
        while (words >> w) {
            if (w == "null") {
                c->expr(nullptr);
            } else if (kOthers.count(w) != 0) {
                ((*c).*kOthers.at(w))();
            } else {
                const int id = static_cast<int>(operands.size());
                operands.push_back(std::make_unique<Probe>(w == "1", id, &log));
                c->expr(operands.back().get());
            }
        }
    }

    std::vector<int> log;
    std::vector<std::unique_ptr<Probe>> operands;
    std::unique_ptr<clv::clause> c = std::make_unique<clv::clause>();
};

// Operators group from the right and brackets are honoured; operands are
// asked last pushed first, and AND and OR ask the second only when needed.
// Only unbalanced brackets and missing operands make a clause invalid.
TEST(Clause, GroupsFromTheRightAndShortCircuits) {
    const struct {
        std::string text;
        char result;  // '1', '0', or '-' for an invalid clause
        std::string rpn;
        std::vector<int> asked;
    } cases[] = {
        {"", '1', "", {}},
        {"1 AND 0", '0', "exp exp AND", {1}},
        {"0 OR 1", '1', "exp exp OR", {1}},
        {"1 OR 0 AND 0", '1', "exp exp exp AND OR", {2, 0}},
        {"0 AND 0 OR 1", '0', "exp exp exp OR AND", {2, 0}},
        {"( 1 OR 0 ) AND 0", '0', "exp exp OR exp AND", {1, 0, 2}},
        {"NOT 0 AND 0", '1', "exp exp AND NOT", {1}},
        {"( 1", '-', "", {}},
        {"1 AND null", '-', "", {}},
        {") 1 (", '1', "exp (", {0}},
        {"1 AND", '0', "exp AND", {}},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.text);
        Built b(k.text);
        EXPECT_EQ(b.c->IsValid(), k.result != '-');
        if (k.result == '-') {
            continue;
        }
        EXPECT_EQ(b.c->evaluate(), k.result == '1');
        EXPECT_EQ(b.log, k.asked);
        EXPECT_EQ(b.c->GetRPNString(), k.rpn) << "built once, not again on every use";
    }
    EXPECT_EQ(Built("1 AND null").c->GetClauseString(), "exp AND");
}

TEST(Clause, KeepsTheOldRpnAcrossClear) {
    Built b("0 OR 0");
    EXPECT_FALSE(b.c->evaluate());
    b.c->clear();
    EXPECT_EQ(b.c->GetClauseString(), "");
    b.Append("NOT 0");
    EXPECT_EQ(b.c->GetClauseString(), "NOT exp");
    EXPECT_EQ(b.c->GetRPNString(), "exp exp OR exp NOT");
    EXPECT_TRUE(b.c->evaluate());
}

// Copies share the operators and operands and keep the operators alive when
// the source lets go of them; an operand copied into a plain expr takes the
// virtual value.
TEST(Clause, CopiesShareOperatorsAndOutliveTheirSource) {
    Built b("( 1 OR 0 ) AND NOT 0");
    auto copy = std::make_unique<clv::clause>(*b.c);
    b.c.reset();
    EXPECT_EQ(copy->GetClauseString(), "( exp OR exp ) AND NOT exp");
    EXPECT_EQ(copy->GetRPNString(), "exp exp OR exp NOT AND");
    EXPECT_TRUE(copy->evaluate());
    clv::clause assigned;
    assigned = *copy;
    copy.reset();
    static_cast<clv::expr&>(*b.operands[2]) = true;
    EXPECT_FALSE(assigned.evaluate());

    b.log.clear();
    clv::expr copied(*b.operands[0]);
    clv::expr assignedExpr;
    assignedExpr = *b.operands[0];
    EXPECT_TRUE(copied.value());
    EXPECT_TRUE(assignedExpr.value());
    EXPECT_EQ(b.log, (std::vector<int>{0, 0}));
}

}  // namespace
