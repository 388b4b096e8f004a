// Errors as values inside the emulated handheld.
#ifndef VORN_DEVICE_IMAGE_STATUS_H_
#define VORN_DEVICE_IMAGE_STATUS_H_

#include <optional>
#include <string>
#include <utility>

namespace device {

class [[nodiscard]] Status {
 public:
  Status() = default;
  static Status Ok() { return Status(); }
  static Status Error(std::string message) {
    return Status(std::move(message));
  }

  bool ok() const { return !message_.has_value(); }
  // The one-line message of a failed status; empty when ok.
  const std::string& message() const {
    static const std::string kEmpty;
    return message_ ? *message_ : kEmpty;
  }

 private:
  explicit Status(std::string message) : message_(std::move(message)) {}
  std::optional<std::string> message_;
};

template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}  // NOLINT: implicit by design
  Result(Status status) : status_(std::move(status)) {}  // NOLINT

  bool ok() const { return value_.has_value(); }
  const Status& status() const { return status_; }
  T& value() { return *value_; }
  const T& value() const { return *value_; }
  T* operator->() { return &*value_; }
  T& operator*() { return *value_; }

 private:
  std::optional<T> value_;
  Status status_;
};

}  // namespace device

#endif  // VORN_DEVICE_IMAGE_STATUS_H_
