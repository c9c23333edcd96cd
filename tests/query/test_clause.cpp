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

// Appends the words of text ("e" is the next operand) to c.
void Append(clv::clause& c, const std::string& text, std::vector<std::unique_ptr<Probe>>& operands,
            const std::vector<bool>& values, std::vector<int>* log) {
    std::istringstream words(text);
    std::string w;
    while (words >> w) {
        if (w == "e") {
            const size_t i = operands.size();
            operands.push_back(std::make_unique<Probe>(values.at(i), static_cast<int>(i), log));
            c.expr(operands.back().get());
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

TEST(Clause, GroupsFromTheRightAndHonoursBrackets) {
    struct Case {
        std::string text;
        std::vector<bool> values;
        bool valid;
        bool result;
        std::string rpn;
    };
    const Case cases[] = {
        {"", {}, true, true, ""},
        {"NOT e", {false}, true, true, "exp NOT"},
        {"e OR e AND e", {true, false, false}, true, true, "exp exp exp AND OR"},
        {"e OR e AND e", {false, true, false}, true, false, "exp exp exp AND OR"},
        {"e AND e OR e", {false, false, true}, true, false, "exp exp exp OR AND"},
        {"( e OR e ) AND e", {true, false, false}, true, false, "exp exp OR exp AND"},
        {"( e OR e ) AND NOT e", {false, true, false}, true, true, "exp exp OR exp NOT AND"},
        {"NOT e AND e", {false, false}, true, true, "exp exp AND NOT"},
        {"( e", {true}, false, true, ""},
        {") e (", {true}, true, true, ""},
        {"e AND", {true}, true, false, "exp AND"},
        {"AND", {}, true, false, "AND"},
        {"( )", {}, true, false, ""},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.text);
        std::vector<std::unique_ptr<Probe>> operands;
        std::vector<int> log;
        clv::clause c;
        Append(c, k.text, operands, k.values, &log);
        EXPECT_EQ(c.IsValid(), k.valid);
        if (!k.valid) {
            continue;
        }
        if (!k.rpn.empty()) {
            EXPECT_EQ(c.GetRPNString(), k.rpn);
        }
        EXPECT_EQ(c.evaluate(), k.result);
        EXPECT_EQ(c.evaluate(), k.result) << "a second evaluation reuses the RPN";
    }
}

TEST(Clause, AsksTheLastPushedOperandFirstAndShortCircuits) {
    struct Case {
        std::string text;
        std::vector<bool> values;
        std::vector<int> asked;
    };
    const Case cases[] = {
        {"e AND e", {true, false}, {1}}, {"e AND e", {false, true}, {1, 0}},
        {"e OR e", {false, true}, {1}},  {"e OR e", {true, false}, {1, 0}},
        {"NOT e", {true}, {0}},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.text);
        std::vector<std::unique_ptr<Probe>> operands;
        std::vector<int> log;
        clv::clause c;
        Append(c, k.text, operands, k.values, &log);
        c.evaluate();
        EXPECT_EQ(log, k.asked);
    }
}

TEST(Clause, NullOperandMakesTheClauseInvalid) {
    clv::clause c;
    clv::expr a(true);
    c.expr(&a);
    c.and_();
    c.expr(nullptr);
    EXPECT_FALSE(c.IsValid());
    EXPECT_EQ(c.GetClauseString(), "exp AND");
}

TEST(Clause, KeepsTheOldRpnAcrossClear) {
    std::vector<std::unique_ptr<Probe>> operands;
    std::vector<int> log;
    clv::clause c;
    Append(c, "e OR e", operands, {false, false}, &log);
    EXPECT_FALSE(c.evaluate());

    c.clear();
    EXPECT_EQ(c.GetClauseString(), "");
    Append(c, "NOT e", operands, {false, false, false}, &log);
    EXPECT_EQ(c.GetClauseString(), "NOT exp");
    EXPECT_EQ(c.GetRPNString(), "exp exp OR exp NOT");
    EXPECT_TRUE(c.evaluate());
}

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
}

TEST(Clause, ExprCopiesTakeTheVirtualValue) {
    std::vector<int> log;
    Probe probe(true, 7, &log);
    clv::expr copied(probe);
    clv::expr assigned;
    assigned = probe;
    EXPECT_TRUE(copied.value());
    EXPECT_TRUE(assigned.value());
    EXPECT_EQ(log, (std::vector<int>{7, 7}));
    EXPECT_STREQ(copied.string(), "exp");
}

}  // namespace
