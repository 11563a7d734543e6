#include "recorder/recording.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "report/texts.h"

namespace vam {

namespace {

/// The file of notes.
struct Notes {
  /// Not zero: the library came into a process.
  char loaded;
  /// Ends with a zero at any time.
  char trouble[256];
  /// And so on, by the descriptor.
  std::uint32_t openings[1];
};
constexpr std::size_t kLongestTrouble = sizeof Notes::trouble - 1;

/// Opens the file `notes` for `use`, which takes its descriptor. Does nothing where that cannot be
/// reached. Leaves the error number as it is.
template <typename Use>
void WithNotes(const std::string& notes, Use use) {
  const int error = errno;
  const int file = open(notes.c_str(), O_RDWR | O_CLOEXEC);
  if (file >= 0) {
    use(file);
    close(file);
  }
  errno = error;
}

/// Writes at `place` of the file `notes`.
void Note(const std::string& notes, const void* bytes, std::size_t size, off_t place) {
  WithNotes(notes, [=](int file) {
    [[maybe_unused]] const ssize_t written = pwrite(file, bytes, size, place);
  });
}

/// Returns where the opening of `descriptor` is noted.
off_t PlaceOfOpening(int descriptor) {
  return static_cast<off_t>(offsetof(Notes, openings)) +
         off_t{descriptor} * static_cast<off_t>(sizeof(std::uint32_t));
}

}  // namespace

std::string RecordingAsText(const Recording& recording) {
  return Formatted("%llu %d %s %s", static_cast<unsigned long long>(recording.settings.start),
                   recording.settings.withKeys ? 1 : 0, recording.notes.c_str(),
                   recording.journal.c_str());
}

bool ReadRecording(const char* text, Recording& recording) {
  if (text == nullptr) {
    return false;
  }
  char* end = nullptr;
  recording.settings.start = std::strtoull(text, &end, 10);
  if (end == text || (std::strncmp(end, " 0 ", 3) != 0 && std::strncmp(end, " 1 ", 3) != 0)) {
    return false;
  }
  recording.settings.withKeys = end[1] == '1';
  const char* notes = end + 3;
  const char* blank = std::strchr(notes, ' ');
  if (blank == nullptr || blank[1] != '/') {
    return false;
  }
  recording.notes.assign(notes, blank);
  recording.journal = blank + 1;
  return true;
}

int MakeNotes() { return memfd_create("vam-record", MFD_CLOEXEC); }

std::string PathOfNotes(int descriptor) {
  return Formatted("/proc/%d/fd/%d", static_cast<int>(getpid()), descriptor);
}

RunNotes ReadNotes(int descriptor) {
  Notes notes = {};
  [[maybe_unused]] const ssize_t size =
      pread(descriptor, &notes, offsetof(Notes, openings), offsetof(Notes, loaded));
  return {notes.loaded != '\0', notes.trouble};
}

void NoteLoaded(const std::string& notes) {
  Note(notes, "+", sizeof Notes::loaded, offsetof(Notes, loaded));
}

void NoteTrouble(const std::string& notes, const std::string& trouble) {
  Note(notes, trouble.data(), std::min(trouble.size(), kLongestTrouble), offsetof(Notes, trouble));
}

void NoteOpening(const std::string& notes, int descriptor, std::uint32_t opening) {
  Note(notes, &opening, sizeof opening, PlaceOfOpening(descriptor));
}

std::uint32_t NotedOpening(const std::string& notes, int descriptor) {
  std::uint32_t opening = 0;
  WithNotes(notes, [&opening, descriptor](int file) {
    [[maybe_unused]] const ssize_t size =
        pread(file, &opening, sizeof opening, PlaceOfOpening(descriptor));
  });
  return opening;
}

}  // namespace vam
