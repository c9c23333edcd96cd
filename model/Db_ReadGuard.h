// ReadGuard: what every read of a database file does when it ends by an
// exception.
//
// Whatever was thrown (the library's own exception, std::bad_alloc, anything
// else), the owner learns that its file was not read whole, so that it never
// writes what it holds back over the file, and undo puts back what the read
// had begun (a half-built registry, an open stream, rows added so far). The
// exception then goes on to the caller: the guard catches nothing. A read that
// ends normally is left as it is.
#pragma once

#include <korvan/model.h>

#include <exception>
#include <utility>

namespace korvan {

template <typename Undo>
class ReadGuard {
  public:
    // owner may be null (a source outside a database); undo must not throw.
    ReadGuard(DbTableOwner* owner, Undo undo)
        : m_owner(owner), m_undo(std::move(undo)), m_exceptions(std::uncaught_exceptions()) {}
    ~ReadGuard() {
        if (std::uncaught_exceptions() > m_exceptions) {
            if (m_owner != nullptr) {
                m_owner->SetReadFailed();
            }
            m_undo();
        }
    }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

  private:
    DbTableOwner* m_owner;
    Undo m_undo;
    int m_exceptions;  // in flight when the read began
};

}  // namespace korvan
