#include "recorder/recording.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "report/texts.h"

namespace vam {

namespace {

constexpr off_t kTroublePlace = 1;
constexpr std::size_t kLongestTrouble = 255;

/// Writes `bytes` at `place` of the file `notes`. Does nothing where that cannot be reached.
void Note(const std::string& notes, const std::string& bytes, off_t place) {
  const int error = errno;
  const int file = open(notes.c_str(), O_WRONLY | O_CLOEXEC);
  if (file >= 0) {
    static_cast<void>(pwrite(file, bytes.data(), bytes.size(), place) > 0);
    close(file);
  }
  errno = error;
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
  RunNotes notes;
  char text[kTroublePlace + kLongestTrouble] = {};
  const ssize_t length = pread(descriptor, text, sizeof text, 0);
  notes.isLoaded = length > 0;
  if (length > kTroublePlace) {
    notes.trouble.assign(text + kTroublePlace, static_cast<std::size_t>(length - kTroublePlace));
  }
  return notes;
}

void NoteLoaded(const std::string& notes) { Note(notes, "+", 0); }

void NoteTrouble(const std::string& notes, const std::string& trouble) {
  Note(notes, trouble.substr(0, kLongestTrouble), kTroublePlace);
}

}  // namespace vam
