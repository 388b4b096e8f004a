#include "desktop/sync/sync_reconciler.h"

#include <map>

#include "desktop/sync/uid_file_stem.h"

namespace desktop {

std::size_t SyncPlan::handheld_deletions() const {
  std::size_t n = 0;
  for (const Push& push : pushes) n += push.remove ? 1 : 0;
  return n;
}

std::size_t SyncPlan::directory_removals() const {
  std::size_t n = 0;
  for (const Pull& pull : pulls) n += pull.remove ? 1 : 0;
  return n;
}

Pull SyncReconciler::PullOf(const HandheldChange& h) const {
  Pull pull;
  pull.uid = h.uid;
  pull.oid = h.oid;
  auto item = state_.items.find(h.uid);
  if (item != state_.items.end()) pull.file = item->second.file;
  pull.canonical = h.canonical;
  pull.hash = h.hash;
  pull.remove = h.kind == SideChange::kDeleted;
  return pull;
}

Push SyncReconciler::PushOf(const DesktopChange& d, bool as_new) const {
  Push push;
  push.uid = d.uid;
  auto item = state_.items.find(d.uid);
  if (!as_new && item != state_.items.end()) push.oid = item->second.oid;
  push.file = d.file;
  push.item = d.item;
  push.text = d.text;
  push.file_hash = d.hash;
  push.entry = d.entry;
  push.remove = d.kind == SideChange::kDeleted;
  return push;
}

std::string SyncReconciler::CopyName(const std::string& uid,
                                     const char* side) const {
  return UidFileStem::Of(uid) + "-" + stamp_ + "-" + side +
         adapter_.extension();
}

void SyncReconciler::Conflict(const HandheldChange& h, const DesktopChange& d,
                              SyncPlan& plan) const {
  bool h_gone = h.kind == SideChange::kDeleted;
  bool d_gone = d.kind == SideChange::kDeleted;
  if (h_gone && d_gone) {
    plan.forgotten.push_back(h.uid);
    return;
  }
  if (!h_gone && !d_gone && h.canonical == d.item.canonical) {
    plan.agreed.emplace_back(h, d);
    return;
  }
  bool handheld_wins =
      resolver_.Decide(d) == ConflictResolver::Winner::kHandheld;
  std::string what = h_gone   ? "deleted on the handheld, changed here"
                     : d_gone ? "changed on the handheld, deleted here"
                              : "changed on both sides";
  ConflictCopy copy;
  if (handheld_wins) {
    if (!d_gone) {
      copy.name = CopyName(h.uid, "desktop");
      copy.text = d.text;
    }
    plan.pulls.push_back(PullOf(h));
    if (!h_gone && plan.pulls.back().file.empty()) {
      plan.pulls.back().file = d.file;
    }
  } else {
    if (!h_gone) {
      Result<std::string> text =
          adapter_.ToFile(h.canonical, "", h.uid, stamp_);
      copy.name = CopyName(h.uid, "handheld");
      copy.text = text.ok() ? *text : h.canonical;
    }
    // A record the handheld deleted comes back as a new one.
    plan.pushes.push_back(PushOf(d, h_gone));
    if (!h_gone) plan.pushes.back().oid = h.oid;
  }
  copy.line =
      "conflict " + d.file + ": " + what + "; kept the " +
      (handheld_wins ? "handheld's" : "desktop's") + " version" +
      (copy.name.empty() ? std::string()
                         : ", the other is in .vorn-conflicts/" + copy.name);
  plan.copies.push_back(std::move(copy));
}

SyncPlan SyncReconciler::Plan(const std::vector<HandheldChange>& handheld,
                              std::vector<DesktopChange> desktop) const {
  SyncPlan plan;
  // Renames: an added file carrying the UID of an item whose file is gone.
  std::map<std::string, std::size_t> deleted;
  for (std::size_t i = 0; i < desktop.size(); ++i) {
    if (desktop[i].kind == SideChange::kDeleted) deleted[desktop[i].uid] = i;
  }
  for (DesktopChange& d : desktop) {
    if (d.kind != SideChange::kAdded) continue;
    auto gone = deleted.find(d.item.uid);
    if (gone == deleted.end()) continue;
    desktop[gone->second].uid.clear();  // no longer a deletion
    d.kind = SideChange::kChanged;
    d.uid = d.item.uid;
    deleted.erase(gone);
  }
  std::erase_if(desktop, [](const DesktopChange& d) {
    return d.kind == SideChange::kDeleted && d.uid.empty();
  });

  std::map<std::string, const DesktopChange*> by_uid;
  std::map<std::string, bool> handheld_uids;
  for (const HandheldChange& h : handheld) handheld_uids[h.uid] = true;
  for (DesktopChange& d : desktop) {
    // A new file with the UID of a record the handheld reports is that
    // record's file (written by a run cut before its state was saved).
    if (d.kind == SideChange::kAdded && !d.uid.empty() &&
        state_.items.count(d.uid) == 0 && handheld_uids.count(d.uid) != 0) {
      d.kind = SideChange::kChanged;
    }
    if (d.kind != SideChange::kAdded) by_uid[d.uid] = &d;
  }
  for (const HandheldChange& h : handheld) {
    auto d = by_uid.find(h.uid);
    if (d == by_uid.end()) {
      plan.pulls.push_back(PullOf(h));
      continue;
    }
    Conflict(h, *d->second, plan);
    by_uid.erase(d);
  }
  for (const DesktopChange& d : desktop) {
    if (d.kind == SideChange::kAdded) {
      Push push = PushOf(d, true);
      // A UID another item has already (a copied file) cannot be kept.
      if (push.uid.empty() || state_.items.count(push.uid) != 0) {
        push.uid.clear();
      }
      plan.pushes.push_back(std::move(push));
    } else if (by_uid.count(d.uid) != 0) {
      plan.pushes.push_back(PushOf(d, false));
    }
  }
  return plan;
}

}  // namespace desktop
