// The appointments of a benchmark handheld: built and edited through the
// object model with the change-log writer hooked in, as the handheld's own
// calendar application would.
//
// Every fifth appointment recurs (weekly for a year) and carries two
// exceptions: one occurrence moved by an hour and one deleted.
#ifndef VORN_BENCH_SUPPORT_CALENDAR_BOOK_H_
#define VORN_BENCH_SUPPORT_CALENDAR_BOOK_H_

#include <cstdint>
#include <random>
#include <vector>

#include "bench/support/bench_handheld.h"

namespace bench {

class CalendarBook {
 public:
  explicit CalendarBook(Handheld& handheld) : handheld_(handheld) {}

  void AddAppointments(std::uint32_t count);
  // `edits` changes, a third each adds, changes and deletes.
  void EditAppointments(std::uint32_t edits, std::mt19937& random);

  const std::vector<CEOID>& oids() const { return oids_; }
  std::size_t size() const { return oids_.size(); }
  std::uint32_t recurring() const { return recurring_; }

 private:
  CEOID Add(device::OutlookApp& app, std::uint32_t n);

  Handheld& handheld_;
  std::vector<CEOID> oids_;
  std::uint32_t next_ = 1;
  std::uint32_t recurring_ = 0;
};

}  // namespace bench

#endif  // VORN_BENCH_SUPPORT_CALENDAR_BOOK_H_
