// Errors as values for the desktop end. A Status is either ok or carries a
// one-line message meant for a person; Result<T> holds a T or a failed Status.
#ifndef VORN_DESKTOP_BASE_STATUS_H_
#define VORN_DESKTOP_BASE_STATUS_H_

#include <cassert>
#include <optional>
#include <string>
#include <utility>

namespace desktop {

class [[nodiscard]] Status {
 public:
  // An ok status.
  Status() = default;

  static Status Ok() { return Status(); }
  // A failed status with a readable one-line message.
  static Status Error(std::string message) {
    Status s;
    s.failed_ = true;
    s.message_ = std::move(message);
    return s;
  }

  bool ok() const { return !failed_; }
  // The message of a failed status; empty when ok.
  const std::string& message() const { return message_; }

  // A copy of a failed status whose message is prefixed with `context: `.
  Status WithContext(const std::string& context) const {
    if (ok()) return *this;
    return Error(context + ": " + message_);
  }

 private:
  bool failed_ = false;
  std::string message_;
};

// A value or the failed Status that explains why there is none.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}  // NOLINT: implicit by design
  // `status` must be a failed status.
  Result(Status status) : status_(std::move(status)) {  // NOLINT
    assert(!status_.ok());
  }

  bool ok() const { return value_.has_value(); }
  const Status& status() const { return status_; }

  // The value; only valid when ok().
  T& value() & { return *value_; }
  const T& value() const& { return *value_; }
  T&& value() && { return std::move(*value_); }
  T* operator->() { return &*value_; }
  const T* operator->() const { return &*value_; }
  T& operator*() & { return *value_; }
  const T& operator*() const& { return *value_; }

 private:
  std::optional<T> value_;
  Status status_;
};

}  // namespace desktop

// Returns early from the enclosing function when `expr` (a Status) failed.
#define VORN_RETURN_IF_ERROR(expr)               \
  do {                                           \
    ::desktop::Status vorn_status_ = (expr);     \
    if (!vorn_status_.ok()) return vorn_status_; \
  } while (0)

#endif  // VORN_DESKTOP_BASE_STATUS_H_
