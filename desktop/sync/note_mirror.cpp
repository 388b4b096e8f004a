#include "desktop/sync/note_mirror.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

#include "desktop/base/utf16.h"

namespace desktop {

namespace {

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
}

}  // namespace

std::string NoteMirror::FileName(const Note& note) {
  std::string title = Utf16ToUtf8(note.title);
  if (title.empty() || title == "." || title == "..") {
    return "Note " + std::to_string(note.oid.value_or(0)) + ".txt";
  }
  for (char& c : title) {
    if (static_cast<unsigned char>(c) < 0x20 || c == '/' || c == '\\') c = '_';
  }
  return title + ".txt";
}

Result<NoteMirrorSummary> NoteMirror::Update(const std::string& dir,
                                             const std::vector<Note>& notes) {
  namespace fs = std::filesystem;
  const fs::path notesDir = fs::path(dir) / "notes";
  std::error_code error;
  NoteMirrorSummary summary;
  if (notes.empty() && !fs::exists(notesDir, error)) return summary;
  fs::create_directories(notesDir, error);
  if (error) {
    return Status::Error("cannot create " + notesDir.string() + ": " +
                         error.message());
  }
  std::set<std::string> names;
  for (const Note& note : notes) {
    const std::string name = FileName(note);
    if (!names.insert(name).second) continue;  // one file per name
    const fs::path path = notesDir / name;
    const std::string text = Utf16ToUtf8(note.TextWithNewlines());
    if (fs::is_regular_file(path, error) && ReadAll(path) == text) {
      ++summary.unchanged;
      continue;
    }
    const fs::path temporary = notesDir / (".tmp-" + name);
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) return Status::Error("cannot write " + temporary.string());
    fs::rename(temporary, path, error);
    if (error) {
      return Status::Error("cannot write " + path.string() + ": " +
                           error.message());
    }
    ++summary.written;
  }
  for (const auto& entry : fs::directory_iterator(notesDir, error)) {
    const std::string name = entry.path().filename().string();
    if (!entry.is_regular_file() || !name.ends_with(".txt") ||
        names.contains(name)) {
      continue;
    }
    if (fs::remove(entry.path(), error)) ++summary.removed;
  }
  return summary;
}

}  // namespace desktop
