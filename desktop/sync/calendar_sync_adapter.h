// Appointments (DIR/calendar/) and tasks (DIR/tasks/) as iCalendar files,
// one VEVENT or VTODO (with the VEVENTs of its changed occurrences) per
// file. Times are the handheld's local times in `zone` (ical_zone.h).
//
// The canonical text is ICalendarWriter's file of the item with a fixed UID
// and without DTSTAMP. A written file carries the item's UID and the run's
// stamp as DTSTAMP and LAST-MODIFIED, merged into the file it replaces by
// ICalendarMerge.
#ifndef VORN_DESKTOP_SYNC_CALENDAR_SYNC_ADAPTER_H_
#define VORN_DESKTOP_SYNC_CALENDAR_SYNC_ADAPTER_H_

#include "desktop/formats/ical_zone.h"
#include "desktop/sync/sync_adapter.h"

namespace desktop {

class CalendarSyncAdapter : public SyncAdapter {
 public:
  // `type` is kAppointments or kTasks.
  CalendarSyncAdapter(protocol::DataType type, IcalZone zone);

  protocol::DataType type() const override { return type_; }
  std::string collection() const override;
  std::string display_name() const override;
  std::string extension() const override { return ".ics"; }
  PropertyKindFn layout() const override;

  Result<HandheldItem> FromWire(const WireRecord& record) const override;
  Result<DesktopItem> FromFile(std::string_view text) const override;
  Result<std::string> ToFile(std::string_view canonical,
                             std::string_view existing, const std::string& uid,
                             const std::string& rev) const override;

 private:
  bool tasks() const { return type_ == protocol::DataType::kTasks; }

  protocol::DataType type_;
  IcalZone zone_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_CALENDAR_SYNC_ADAPTER_H_
