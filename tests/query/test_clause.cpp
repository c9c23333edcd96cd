#include <gtest/gtest.h>
#include <korvan/query.h>

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

// A clause built from words: "e" is the next operand (taking the next of
// values), "null" a missing operand.
struct Built {
    Built(const std::string& text, const std::vector<bool>& values) { Append(text, values); }

    void Append(const std::string& text, const std::vector<bool>& values) {
        std::istringstream words(text);
        std::string w;
        while (words >> w) {
            if (w == "e") {
                const size_t i = operands.size();
                operands.push_back(
                    std::make_unique<Probe>(values.at(i), static_cast<int>(i), &log));
                c.expr(operands.back().get());
            } else if (w == "null") {
                c.expr(nullptr);
            } else if (w == "AND") {
                c.and_();
            } else if (w == "OR") {
                c.or_();
            } else if (w == "NOT") {
                c.not_();
            } else if (w == "(") {
                c.leftBracket();
            } else if (w == ")") {
                c.rightBracket();
            }
        }
    }

    std::vector<int> log;
    std::vector<std::unique_ptr<Probe>> operands;
    clv::clause c;
};

// Operators group from the right and brackets are honoured; operands are
// asked last pushed first, and AND and OR ask the second only when needed.
TEST(Clause, GroupsFromTheRightAndShortCircuits) {
    const struct {
        std::string text;
        std::vector<bool> values;
        bool valid;
        bool result;
        std::string rpn;
        std::vector<int> asked;
    } cases[] = {
        {"", {}, true, true, "", {}},
        {"NOT e", {true}, true, false, "exp NOT", {0}},
        {"e AND e", {true, false}, true, false, "exp exp AND", {1}},
        {"e OR e", {false, true}, true, true, "exp exp OR", {1}},
        {"e OR e AND e", {true, false, false}, true, true, "exp exp exp AND OR", {2, 0}},
        {"e AND e OR e", {false, false, true}, true, false, "exp exp exp OR AND", {2, 0}},
        {"( e OR e ) AND e", {true, false, false}, true, false, "exp exp OR exp AND", {1, 0, 2}},
        {"( e OR e ) AND NOT e",
         {false, true, false},
         true,
         true,
         "exp exp OR exp NOT AND",
         {1, 2}},
        {"NOT e AND e", {false, false}, true, true, "exp exp AND NOT", {1}},
        {"( e", {true}, false, false, "", {}},
        {"e AND null", {true}, false, false, "", {}},
        {") e (", {true}, true, true, "exp (", {0}},
        {"e AND", {true}, true, false, "exp AND", {}},
        {"AND", {}, true, false, "AND", {}},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.text);
        Built b(k.text, k.values);
        EXPECT_EQ(b.c.IsValid(), k.valid);
        if (!k.valid) {
            continue;
        }
        EXPECT_EQ(b.c.evaluate(), k.result);
        EXPECT_EQ(b.log, k.asked);
        EXPECT_EQ(b.c.GetRPNString(), k.rpn);
        EXPECT_EQ(b.c.evaluate(), k.result) << "a second evaluation reuses the RPN";
    }
    EXPECT_EQ(Built("e AND null", {true}).c.GetClauseString(), "exp AND");
}

TEST(Clause, KeepsTheOldRpnAcrossClear) {
    Built b("e OR e", {false, false});
    EXPECT_FALSE(b.c.evaluate());
    b.c.clear();
    EXPECT_EQ(b.c.GetClauseString(), "");
    b.Append("NOT e", {false, false, false});
    EXPECT_EQ(b.c.GetClauseString(), "NOT exp");
    EXPECT_EQ(b.c.GetRPNString(), "exp exp OR exp NOT");
    EXPECT_TRUE(b.c.evaluate());
}

// Copies share the operators and operands but outlive their source; an
// operand copied into a plain expr takes the virtual value.
TEST(Clause, CopiesShareOperatorsAndOutliveTheirSource) {
    clv::expr a(true);
    clv::expr b(false);
    auto source = std::make_unique<clv::clause>();
    source->leftBracket();
    source->expr(&a);
    source->or_();
    source->expr(&b);
    source->rightBracket();
    source->and_();
    source->not_();
    source->expr(&b);

    clv::clause copy(*source);
    clv::clause assigned;
    assigned = *source;
    source.reset();
    EXPECT_EQ(copy.GetClauseString(), "( exp OR exp ) AND NOT exp");
    EXPECT_EQ(copy.GetRPNString(), "exp exp OR exp NOT AND");
    EXPECT_TRUE(copy.evaluate());
    EXPECT_TRUE(assigned.evaluate());
    b = true;
    EXPECT_FALSE(assigned.evaluate());

    std::vector<int> log;
    Probe probe(true, 7, &log);
    clv::expr copied(probe);
    clv::expr assignedExpr;
    assignedExpr = probe;
    EXPECT_TRUE(copied.value());
    EXPECT_TRUE(assignedExpr.value());
    EXPECT_EQ(log, (std::vector<int>{7, 7}));
    EXPECT_STREQ(copied.string(), "exp");
}

}  // namespace
