// vorn sync DIR: mirrors the handheld's contacts, appointments, tasks and
// notes into DIR/contacts/, DIR/calendar/, DIR/tasks/ and DIR/notes/, both
// ways (--one-way: from the handheld only), and its mail into the Maildir++
// tree DIR/mail/.
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "cli/vorn/commands.h"
#include "cli/vorn/note_commands.h"
#include "desktop/formats/ical_zone.h"
#include "desktop/formats/json_text.h"
#include "desktop/sync/calendar_sync_adapter.h"
#include "desktop/sync/mail_mirror.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/note_mirror.h"
#include "desktop/sync/note_sync.h"
#include "desktop/sync/note_writer.h"
#include "desktop/sync/sync_contract_registry.h"
#include "desktop/sync/sync_engine.h"
#include "desktop/transport/child_process_stream.h"
#include "desktop/transport/sync_counting_stream.h"
#include "desktop/transport/tcp_stream.h"

namespace vorn_cli {

namespace {

// Opens the stream named by --device or --image.
desktop::Result<std::unique_ptr<desktop::HandheldStream>> OpenStream(
    const CommandLine& line) {
  if (!line.device.empty()) {
    auto tcp = desktop::TcpStream::Connect(line.device);
    if (!tcp.ok()) return tcp.status();
    return std::unique_ptr<desktop::HandheldStream>(std::move(*tcp));
  }
  auto child = desktop::ChildProcessStream::SpawnDevice(line.image);
  if (!child.ok()) return child.status();
  return std::unique_ptr<desktop::HandheldStream>(std::move(*child));
}

// A progress line on standard error when it is a terminal.
class SyncProgressLine {
 public:
  SyncProgressLine() : enabled_(isatty(STDERR_FILENO) == 1) {}
  ~SyncProgressLine() { Clear(); }
  void Show(const desktop::SyncProgress& progress) {
    if (!enabled_) return;
    if (progress.total > 0) {
      int width = 30;
      int filled = static_cast<int>(progress.done * width / progress.total);
      std::fprintf(stderr, "\r\033[Ksync %-9s [%.*s%*s] %llu/%llu",
                   progress.phase, filled, "##############################",
                   width - filled, "",
                   static_cast<unsigned long long>(progress.done),
                   static_cast<unsigned long long>(progress.total));
    } else {
      std::fprintf(stderr, "\r\033[Ksync %s", progress.phase);
    }
    std::fflush(stderr);
    shown_ = true;
  }
  void Clear() {
    if (shown_) std::fputs("\r\033[K", stderr);
    shown_ = false;
  }

 private:
  bool enabled_;
  bool shown_ = false;
};

std::string AbsolutePath(const std::string& path) {
  char* resolved = realpath(path.c_str(), nullptr);
  std::string out = resolved ? resolved : path;
  std::free(resolved);
  return out;
}

void Remember(const desktop::SyncSummary& summary, const std::string& dir) {
  auto path = desktop::SyncContractRegistry::DefaultPath();
  if (!path.ok()) return;
  auto registry = desktop::SyncContractRegistry::Load(*path);
  if (!registry.ok()) {
    std::fprintf(stderr, "vorn: warning: %s\n",
                 registry.status().message().c_str());
    return;
  }
  registry->Upsert({summary.partner, summary.machine_id, AbsolutePath(dir),
                    desktop::SyncState::NowUtc()});
  if (auto s = registry->Save(); !s.ok()) {
    std::fprintf(stderr, "vorn: warning: %s\n", s.message().c_str());
  }
}

// Adds the counts, conflicts and notes of another collection's run.
void AddUp(desktop::SyncSummary& total, const desktop::SyncSummary& more) {
  total.added += more.added;
  total.changed += more.changed;
  total.deleted += more.deleted;
  total.unchanged += more.unchanged;
  total.sent_added += more.sent_added;
  total.sent_changed += more.sent_changed;
  total.sent_deleted += more.sent_deleted;
  total.records_fetched += more.records_fetched;
  total.bytes_received += more.bytes_received;
  total.seconds += more.seconds;
  total.contract_added = total.contract_added || more.contract_added;
  total.conflicts.insert(total.conflicts.end(), more.conflicts.begin(),
                         more.conflicts.end());
  total.notes.insert(total.notes.end(), more.notes.begin(), more.notes.end());
}

// The handheld's zone: --tz, else the one the directory's state stored.
desktop::Result<std::string> ZoneName(const CommandLine& line,
                                      const desktop::MirrorDirectory& dir) {
  if (!line.tz.empty()) return line.tz;
  auto state = desktop::SyncState::Load(dir);
  if (!state.ok()) return state.status();
  return *state ? (*state)->time_zone : std::string();
}

void PrintMail(const std::string& path,
               const desktop::Result<desktop::MailMirrorSummary>& mail) {
  if (!mail.ok()) return;
  for (const std::string& problem : mail->problems) {
    std::fprintf(stderr, "vorn: mail not sent: %s\n", problem.c_str());
  }
  if (mail->written + mail->unchanged + mail->removed + mail->sent > 0) {
    std::printf(
        "mail in %s/mail/: written %zu, unchanged %zu, removed %zu, sent "
        "%zu\n",
        path.c_str(), mail->written, mail->unchanged, mail->removed,
        mail->sent);
  }
}

}  // namespace

int RunSync(const CommandLine& line, const SyncRequest& request) {
  const std::string& path = request.dir;
  desktop::SyncOptions options;
  options.partner = request.partner;
  options.two_way = !request.one_way;
  options.force = request.force;
  auto policy = desktop::ConflictResolver::ParsePolicy(request.conflict);
  if (!policy.ok()) return Fail(policy.status().message());
  options.conflict = *policy;
  if (const char* stop = std::getenv("VORN_SYNC_STOP_AFTER_RECORDS")) {
    options.stop_after_records = std::strtoull(stop, nullptr, 10);
  }

  auto dir = desktop::MirrorDirectory::Open(path);
  if (!dir.ok()) return Fail(dir.status().message());
  auto zone_name = ZoneName(line, **dir);
  if (!zone_name.ok()) return Fail(zone_name.status().message());
  auto zone = desktop::IcalZone::Named(*zone_name);
  if (!zone.ok()) return Fail(zone.status().message());
  options.time_zone = *zone_name;
  auto stream = OpenStream(line);
  if (!stream.ok()) return Fail(stream.status().message());
  desktop::SyncCountingStream counted(**stream);
  desktop::HandheldClient client(counted);

  SyncProgressLine progress;
  options.on_progress = [&](const desktop::SyncProgress& p) {
    progress.Show(p);
  };
  bool stopping = options.stop_after_records != 0;
  // Contacts first (their summary leads), then appointments and tasks,
  // each under its own contract of the same partner name.
  desktop::CalendarSyncAdapter appointments(protocol::DataType::kAppointments,
                                            *zone);
  desktop::CalendarSyncAdapter tasks(protocol::DataType::kTasks, *zone);
  desktop::Result<desktop::SyncSummary> summary =
      desktop::SyncEngine(client, **dir, options, &counted).Run();
  for (const desktop::SyncAdapter* adapter :
       {static_cast<const desktop::SyncAdapter*>(&appointments),
        static_cast<const desktop::SyncAdapter*>(&tasks)}) {
    if (!summary.ok()) break;
    options.adapter = adapter;
    options.partner = summary->partner;
    auto more = desktop::SyncEngine(client, **dir, options, &counted).Run();
    if (!more.ok()) {
      summary = more.status();
    } else {
      AddUp(*summary, *more);
    }
  }
  progress.Clear();
  if (!summary.ok()) {
    if (stopping && summary.status().message().starts_with("stopped after")) {
      std::fprintf(stderr, "vorn: %s\n", summary.status().message().c_str());
      std::fflush(stderr);
      _exit(3);
    }
    (void)client.EndSession();
    (void)counted.Close();
    return Fail(summary.status().message());
  }
  // Notes: one way by the one-way mirror, else both ways.
  desktop::NoteSyncSummary noteFiles;
  if (auto notes = FetchNotes(client); !notes.ok()) {
    Fail("notes not mirrored: " + notes.status().message());
  } else if (request.one_way) {
    auto mirrored = desktop::NoteMirror::Update(path, notes->notes);
    if (!mirrored.ok()) {
      Fail("notes not mirrored: " + mirrored.status().message());
    } else {
      noteFiles.written = mirrored->written;
      noteFiles.unchanged = mirrored->unchanged;
      noteFiles.removed = mirrored->removed;
    }
  } else {
    desktop::ClientNoteWriter writer(client);
    auto synced = desktop::NoteSync::Run(
        **dir, notes->notes, writer,
        desktop::NoteSyncOptions{options.conflict, options.force});
    if (!synced.ok()) {
      Fail("notes not synced: " + synced.status().message());
    } else {
      noteFiles = std::move(*synced);
    }
  }
  desktop::MailTransfer mail(client, desktop::MailClock::ForZone(*zone));
  auto mailFiles = desktop::MailMirror::Run(path, mail);
  if (!mailFiles.ok())
    Fail("mail not mirrored: " + mailFiles.status().message());
  desktop::Status ended = client.EndSession();
  desktop::Status closed = counted.Close();
  if (!ended.ok()) return Fail(ended.message());
  if (!closed.ok()) return Fail(closed.message());
  Remember(*summary, path);

  const desktop::SyncSummary& s = *summary;
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["directory"] = path;
    out["partner"] = s.partner;
    out["machine_id"] = s.machine_id;
    out["full"] = s.full;
    out["full_reason"] = s.full_reason;
    out["contract_added"] = s.contract_added;
    out["added"] = s.added;
    out["changed"] = s.changed;
    out["deleted"] = s.deleted;
    out["unchanged"] = s.unchanged;
    out["two_way"] = s.two_way;
    out["migrated"] = s.migrated;
    out["sent_added"] = s.sent_added;
    out["sent_changed"] = s.sent_changed;
    out["sent_deleted"] = s.sent_deleted;
    out["conflicts"] = s.conflicts;
    out["notes"] = s.notes;
    desktop::Json notes = desktop::Json::object();
    notes["written"] = noteFiles.written;
    notes["unchanged"] = noteFiles.unchanged;
    notes["removed"] = noteFiles.removed;
    notes["sent_added"] = noteFiles.sent_added;
    notes["sent_changed"] = noteFiles.sent_changed;
    notes["sent_deleted"] = noteFiles.sent_deleted;
    notes["conflicts"] = noteFiles.conflicts;
    out["note_files"] = std::move(notes);
    out["records_fetched"] = s.records_fetched;
    out["bytes_received"] = s.bytes_received;
    out["seconds"] = s.seconds;
    std::printf("%s\n", desktop::JsonText::Write(out, 0).c_str());
  } else {
    std::printf(
        "%s %s (%s): from the handheld added %llu, changed %llu, deleted "
        "%llu",
        s.full ? "full sync of" : "synced", path.c_str(),
        s.full ? s.full_reason.c_str() : s.partner.c_str(),
        static_cast<unsigned long long>(s.added),
        static_cast<unsigned long long>(s.changed),
        static_cast<unsigned long long>(s.deleted));
    if (s.two_way) {
      std::printf("; to the handheld added %llu, changed %llu, deleted %llu",
                  static_cast<unsigned long long>(s.sent_added),
                  static_cast<unsigned long long>(s.sent_changed),
                  static_cast<unsigned long long>(s.sent_deleted));
    }
    std::printf("; %llu bytes received in %.2f s\n",
                static_cast<unsigned long long>(s.bytes_received), s.seconds);
    if (s.migrated)
      std::printf("converted the old layout to %s/contacts/\n", path.c_str());
    for (const std::string& conflict : s.conflicts) {
      std::printf("%s\n", conflict.c_str());
    }
    for (const std::string& note : s.notes) std::printf("%s\n", note.c_str());
    const desktop::NoteSyncSummary& n = noteFiles;
    if (n.written + n.unchanged + n.removed + n.sent_added + n.sent_changed +
            n.sent_deleted >
        0) {
      std::printf("notes in %s/notes/: written %zu, unchanged %zu, removed %zu",
                  path.c_str(), n.written, n.unchanged, n.removed);
      if (!request.one_way) {
        std::printf("; to the handheld added %zu, changed %zu, deleted %zu",
                    n.sent_added, n.sent_changed, n.sent_deleted);
      }
      std::printf("\n");
    }
    for (const std::string& conflict : n.conflicts) {
      std::printf("%s\n", conflict.c_str());
    }
    PrintMail(path, mailFiles);
  }
  return 0;
}

}  // namespace vorn_cli
