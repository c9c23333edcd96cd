// korvan/query.h - the query engine's public pieces: the boolean clause
// evaluator (namespace clv), row filters (DbFilter) and the record that SQL
// analysis fills (parser::QueryAnalysisParams). The analysis and execution
// operations themselves are members of DbDatabase (korvan/database.h).
//
// A clause does not own its operands: row filters belong to their table
// descriptor, which deletes them in ClearFilters. Threads: one at a time.
#pragma once

#include <korvan/model.h>

#include <memory>
#include <string>
#include <vector>

namespace clv {

// One piece of a clause: an operand, an operator or a bracket.
class KORVAN_API element {
  public:
    enum etype {
        etExpr = 0,
        etOpr = 1,
        etOprNot = 2,
        etLeftBracket = 3,
        etRightBracket = 4,
    };

    element() = default;
    element(const element&) = default;
    element(element&&) = default;
    element& operator=(const element&) = default;
    element& operator=(element&&) = default;
    virtual ~element();

    virtual const char* string() const = 0;
    virtual etype type() const = 0;
};

// An operand carrying one boolean. Copies take the source's value() (so a
// copy of a row filter captures its last outcome).
class KORVAN_API expr : public element {
  public:
    expr() = default;
    expr(bool value) : m_value(value) {}
    expr(const expr& other);
    expr& operator=(const expr& other);
    expr& operator=(bool value);
    ~expr() override;

    const char* string() const override;  // "exp"
    etype type() const override;          // etExpr
    virtual bool value() const;

  protected:
    bool m_value = false;
};

// A binary operator.
class KORVAN_API opr : public element {
  public:
    etype type() const override;  // etOpr
    virtual bool value(const expr* a, const expr* b) const = 0;
};

// a AND b; b is asked only when a is true.
class KORVAN_API opr_and : public opr {
  public:
    const char* string() const override;  // "AND"
    bool value(const expr* a, const expr* b) const override;
};

// a OR b; b is asked only when a is false.
class KORVAN_API opr_or : public opr {
  public:
    const char* string() const override;  // "OR"
    bool value(const expr* a, const expr* b) const override;
};

// NOT a; b is ignored.
class KORVAN_API opr_not : public opr {
  public:
    const char* string() const override;  // "NOT"
    etype type() const override;          // etOprNot
    bool value(const expr* a, const expr* b) const override;
};

class KORVAN_API leftbracket : public element {
  public:
    const char* string() const override;  // "("
    etype type() const override;          // etLeftBracket
};

class KORVAN_API rightbracket : public element {
  public:
    const char* string() const override;  // ")"
    etype type() const override;          // etRightBracket
};

// A boolean clause in infix order, evaluated through reverse Polish notation.
// AND, OR and NOT have equal standing and group from the right ("a AND b OR
// c" is a AND (b OR c)); brackets are the only other grouping. Operands must
// outlive every evaluation.
class KORVAN_API clause {
  public:
    clause();
    // Copies share the source's operator objects.
    clause(const clause& other);
    clause& operator=(const clause& other);
    virtual ~clause();

    void expr(clv::expr* e);
    void and_();
    void or_();
    void not_();
    void leftBracket();
    void rightBracket();
    // Empties the infix sequence. The RPN sequence is kept: the next build
    // appends behind it.
    void clear();

    // No null entry and as many left as right brackets; nothing else is
    // checked (an empty clause is valid).
    bool IsValid() const;
    // True for an empty clause; otherwise the value on top of the stack after
    // walking the RPN (false when the walk goes wrong).
    bool evaluate();
    // The pieces' strings joined by blanks, e.g. "( exp OR exp ) AND NOT exp".
    std::string GetClauseString() const;
    // The RPN, e.g. "exp exp OR exp NOT AND"; rebuilt first when needed.
    std::string GetRPNString();

  protected:
    bool BuildRPN();
    std::string BuildClauseString(const std::vector<element*>& sequence) const;

  private:
    void initialize();

    bool m_rebuild;
    std::vector<element*> m_elements;
    std::vector<element*> m_rpn;
    std::shared_ptr<leftbracket> m_leftBracket;
    std::shared_ptr<rightbracket> m_rightBracket;
    std::shared_ptr<opr_and> m_and;
    std::shared_ptr<opr_or> m_or;
    std::shared_ptr<opr_not> m_not;
};

}  // namespace clv

// One comparison of a row's field with a constant or with another field. The
// outcome of the latest Evaluate is the filter's value() as a clause operand.
class KORVAN_API DbFilter : public clv::expr {
  public:
    typedef bool (*CompareFn)(const CComVariant& left, const CComVariant& right);
    typedef void (DbFilter::*EvaluatorFn)(const DbTableRow& row);

    DbFilter();
    DbFilter(const DbFilter& other);
    DbFilter& operator=(const DbFilter& other);
    ~DbFilter() override;

    // Runs the chosen evaluation form and stores the outcome (false without a
    // comparison).
    virtual void Evaluate(const DbTableRow& row);
    void EvalRefOpRef(const DbTableRow& row);
    void EvalRefOpVal(const DbTableRow& row);
    void EvalValOpRef(const DbTableRow& row);

    CComVariant leftValue;
    CComVariant rightValue;
    LONG leftField;
    LONG rightField;
    EvaluatorFn evaluator;
    CompareFn compare;
};

namespace parser {

// What SQL analysis found in a SELECT text.
class KORVAN_API QueryAnalysisParams {
  public:
    QueryAnalysisParams();
    virtual ~QueryAnalysisParams();
    QueryAnalysisParams(const QueryAnalysisParams&) = delete;
    QueryAnalysisParams& operator=(const QueryAnalysisParams&) = delete;

    clv::clause* clause;  // owned; operands are the table's filters
    std::vector<CString> fields;
    std::vector<CString> tables;
    std::vector<CString> orderBy;
    std::vector<CString> extra;
    bool descending;
    std::vector<CString> conditions;
    std::vector<CString> words;
    std::vector<CString> pendingCondition;
    uint32_t section;
    uint32_t sectionBeforeTop;
    bool distinct;
    int32_t top;
};

}  // namespace parser
