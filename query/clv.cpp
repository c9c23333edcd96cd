// The boolean clause evaluator: operands, operators, brackets and the clause
// that turns its infix sequence into reverse Polish notation.

#include <korvan/query.h>

#include <memory>
#include <new>
#include <vector>

namespace clv {

element::~element() = default;

expr::expr(const expr& other) : element(other), m_value(other.value()) {}

expr& expr::operator=(const expr& other) {
    m_value = other.value();
    return *this;
}

expr& expr::operator=(bool value) {
    m_value = value;
    return *this;
}

expr::~expr() = default;

const char* expr::string() const {
    return "exp";
}
element::etype expr::type() const {
    return etExpr;
}
bool expr::value() const {
    return m_value;
}

element::etype opr::type() const {
    return etOpr;
}

const char* opr_and::string() const {
    return "AND";
}
bool opr_and::value(const expr* a, const expr* b) const {
    return a->value() && b->value();
}

const char* opr_or::string() const {
    return "OR";
}
bool opr_or::value(const expr* a, const expr* b) const {
    return a->value() || b->value();
}

const char* opr_not::string() const {
    return "NOT";
}
element::etype opr_not::type() const {
    return etOprNot;
}
bool opr_not::value(const expr* a, const expr*) const {
    return !a->value();
}

const char* leftbracket::string() const {
    return "(";
}
element::etype leftbracket::type() const {
    return etLeftBracket;
}

const char* rightbracket::string() const {
    return ")";
}
element::etype rightbracket::type() const {
    return etRightBracket;
}

// The five operator objects are shared with copies of the clause (shared_ptr),
// so a copy stays usable after its source is gone and evaluates the same way.
clause::clause()
    : m_rebuild(true),
      m_leftBracket(std::make_shared<leftbracket>()),
      m_rightBracket(std::make_shared<rightbracket>()),
      m_and(std::make_shared<opr_and>()),
      m_or(std::make_shared<opr_or>()),
      m_not(std::make_shared<opr_not>()) {}

clause::clause(const clause& other) = default;
clause& clause::operator=(const clause& other) = default;
clause::~clause() = default;

void clause::expr(clv::expr* e) {
    m_elements.push_back(e);
    m_rebuild = true;
}

void clause::and_() {
    m_elements.push_back(m_and.get());
    m_rebuild = true;
}

void clause::or_() {
    m_elements.push_back(m_or.get());
    m_rebuild = true;
}

void clause::not_() {
    m_elements.push_back(m_not.get());
    m_rebuild = true;
}

void clause::leftBracket() {
    m_elements.push_back(m_leftBracket.get());
    m_rebuild = true;
}

void clause::rightBracket() {
    m_elements.push_back(m_rightBracket.get());
    m_rebuild = true;
}

void clause::clear() {
    m_elements.clear();
    m_rebuild = true;
}

void clause::initialize() {
    if (m_rebuild) {
        BuildRPN();
        m_rebuild = false;
    }
}

bool clause::IsValid() const {
    int depth = 0;
    for (const element* e : m_elements) {
        if (e == nullptr) {
            return false;
        }
        if (e->type() == element::etLeftBracket) {
            ++depth;
        } else if (e->type() == element::etRightBracket) {
            --depth;
        }
    }
    return depth == 0;
}

// Operators wait on the stack until the end or the closing bracket; none is
// popped when another arrives, so operators group from the right. The new
// RPN goes behind whatever an earlier build left (see clear()).
bool clause::BuildRPN() {
    std::vector<element*> stack;
    for (element* e : m_elements) {
        if (e == nullptr) {
            continue;  // IsValid reports it; the build just passes over it
        }
        switch (e->type()) {
            case element::etExpr:
                m_rpn.push_back(e);
                break;
            case element::etOpr:
            case element::etOprNot:
            case element::etLeftBracket:
                stack.push_back(e);
                break;
            case element::etRightBracket:
                while (!stack.empty() && stack.back()->type() != element::etLeftBracket) {
                    m_rpn.push_back(stack.back());
                    stack.pop_back();
                }
                if (!stack.empty()) {
                    stack.pop_back();
                }
                break;
        }
    }
    while (!stack.empty()) {
        m_rpn.push_back(stack.back());
        stack.pop_back();
    }
    return true;
}

namespace {

// Room for the walk over an RPN of up to size elements: the stack of
// operands and the operands that hold operator results, whose addresses stay
// put while they are on the stack. Small clauses, the usual ones, need no
// allocation.
class EvaluationSpace {
  public:
    explicit EvaluationSpace(size_t size) {
        if (size > kSmall) {
            m_heapStack.resize(size);
            m_heapResults.reserve(size);
        }
        m_stack = size > kSmall ? m_heapStack.data() : m_localStack;
        m_large = size > kSmall;
    }
    ~EvaluationSpace() {
        for (size_t i = 0; i < m_localCount; ++i) {
            LocalResult(i)->~expr();
        }
    }
    EvaluationSpace(const EvaluationSpace&) = delete;
    EvaluationSpace& operator=(const EvaluationSpace&) = delete;

    size_t Depth() const { return m_depth; }
    void Push(const expr* e) { m_stack[m_depth++] = e; }
    const expr* Pop() { return m_stack[--m_depth]; }
    const expr* Top() const { return m_stack[m_depth - 1]; }
    // An operand holding an operator's result, pushed.
    void PushResult(bool value) {
        if (m_large) {
            m_heapResults.emplace_back(value);
            Push(&m_heapResults.back());
        } else {
            Push(new (LocalResult(m_localCount++)) expr(value));
        }
    }

  private:
    static constexpr size_t kSmall = 16;

    expr* LocalResult(size_t i) { return reinterpret_cast<expr*>(m_localResults) + i; }

    const expr* m_localStack[kSmall];
    alignas(expr) unsigned char m_localResults[kSmall * sizeof(expr)];
    size_t m_localCount = 0;
    std::vector<const expr*> m_heapStack;
    std::vector<expr> m_heapResults;
    const expr** m_stack;
    size_t m_depth = 0;
    bool m_large;
};

}  // namespace

bool clause::evaluate() {
    if (m_elements.empty()) {
        return true;
    }
    initialize();

    EvaluationSpace space(m_rpn.size());
    for (const element* e : m_rpn) {
        const element::etype kind = e->type();
        if (kind == element::etExpr) {
            space.Push(static_cast<const clv::expr*>(e));
        } else if (kind == element::etOpr) {
            if (space.Depth() < 2) {
                return false;
            }
            const clv::expr* first = space.Pop();
            const clv::expr* second = space.Pop();
            space.PushResult(static_cast<const opr*>(e)->value(first, second));
        } else if (kind == element::etOprNot) {
            if (space.Depth() == 0) {
                return false;
            }
            const clv::expr* operand = space.Pop();
            space.PushResult(static_cast<const opr*>(e)->value(operand, nullptr));
        }
    }
    return space.Depth() > 0 && space.Top()->value();
}

std::string clause::BuildClauseString(const std::vector<element*>& sequence) const {
    std::string text;
    bool first = true;
    for (const element* e : sequence) {
        if (e == nullptr) {
            continue;
        }
        if (!first) {
            text += ' ';
        }
        text += e->string();
        first = false;
    }
    return text;
}

std::string clause::GetClauseString() const {
    return BuildClauseString(m_elements);
}

std::string clause::GetRPNString() {
    initialize();
    return BuildClauseString(m_rpn);
}

}  // namespace clv
