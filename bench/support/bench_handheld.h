// The emulated handheld as the benchmarks use it: built in memory (or on a
// file image), edited through the object model with the change-log writer
// hooked in, and served on a loopback socket from a thread.
#ifndef VORN_BENCH_SUPPORT_BENCH_HANDHELD_H_
#define VORN_BENCH_SUPPORT_BENCH_HANDHELD_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "device/device.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/outlook_app.h"

namespace bench {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point start);

[[noreturn]] void Die(const std::string& message);

// Handheld sizes from "N,N,...", sorted; dies on a size outside 1..`most`.
std::vector<std::uint32_t> ParseSizes(const std::string& text,
                                      std::uint32_t most);

// A fresh directory under $TMPDIR, /dev/shm (memory) or /tmp, in that
// order of preference; `root` overrides the choice.
std::string MakeTempDir(const std::string& root = "");

// A loopback listening socket; Accept serves one conversation per call.
class Listener {
 public:
  Listener();
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  // The connection has TCP_NODELAY set: the agent writes a reply's length
  // and its bytes separately.
  int Accept() const;

 private:
  int fd_ = -1;
  int port_ = 0;
};

// A handheld whose contacts are edited through the object model with the
// change-log writer hooked in.
class Handheld {
 public:
  // In memory.
  Handheld();
  // On the image file `path` (made with Device::Init first).
  explicit Handheld(const std::string& path);

  // Runs `edit` inside one transaction with an application object whose
  // saves and deletes are logged.
  template <typename Fn>
  void Edit(Fn edit) {
    device::ScopedServices services(device_->services());
    device_->image().Begin();
    auto* app =
        new device::OutlookApp(device_->context(), device_->objectStore());
    app->SetChangeHook([this](int type, CEOID oid, int kind) {
      writer_->OnChange(type, oid, kind);
      if (!writer_->lastStatus().ok()) Die(writer_->lastStatus().message());
    });
    edit(*app);
    app->Release();
    device_->image().Commit();
  }

  void AddContacts(std::uint32_t count);
  // `edits` changes, a third each adds, changes and deletes.
  void EditContacts(std::uint32_t edits, std::mt19937& random);

  // `edits` changes to the items `oids` in one transaction: every third
  // adds an item with `add`, the others pick one at random and hand it to
  // `edit`, which changes it or (`remove` true) deletes it.
  void EditItems(std::vector<CEOID>& oids, std::uint32_t edits,
                 std::mt19937& random,
                 const std::function<CEOID(device::OutlookApp&)>& add,
                 const std::function<void(IDispatch*, bool remove)>& edit);

  // Serves one conversation on a connection accepted from `listener`.
  std::thread Serve(const Listener& listener);

  std::size_t size() const { return oids_.size(); }
  const std::vector<CEOID>& oids() const { return oids_; }
  device::Device& device() { return *device_; }

 private:
  static CEOID Add(device::OutlookApp& app, std::uint32_t n);

  std::unique_ptr<device::Device> device_;
  std::ostringstream messages_;
  device::ChangeLogWriter* writer_;
  std::vector<CEOID> oids_;
  std::uint32_t next_ = 1;
};

}  // namespace bench

#endif  // VORN_BENCH_SUPPORT_BENCH_HANDHELD_H_
