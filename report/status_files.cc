#include "report/status_files.h"

#include <sys/stat.h>

#include <cstdint>
#include <fstream>
#include <ios>
#include <string>
#include <utility>

#include "report/status_messages.h"

namespace {

std::string Line(std::string text) {
  text += vam::kLineEnd;
  return text;
}

std::string CodeLine(std::string label, std::int32_t code) {
  label += std::to_string(code);
  return Line(std::move(label));
}

/// Writes a whole entry at once, so that entries of two processes do not mix.
void WriteEntry(const char* path, std::ios::openmode mode, const std::string& entry) {
  std::ofstream file(path, std::ios::out | mode);
  file << entry;
}

}  // namespace

void WriteToVamOkFile(std::string message, bool truncate) {
  WriteEntry(vam::kOkFile, truncate ? std::ios::trunc : std::ios::app, Line(std::move(message)));
}

void WriteToErrorFile(std::string message, std::int32_t code) {
  message += ' ';
  WriteEntry(vam::kErrorFile, std::ios::app, CodeLine(std::move(message), code));
}

void WriteToErrorFile(std::string message, std::int32_t code, VamResult result) {
  message += ' ';
  WriteEntry(vam::kErrorFile, std::ios::app,
             CodeLine(std::move(message), code) + CodeLine(vam::kVamCodePrefix, result.vamCode) +
                 CodeLine(vam::kFirmwareCodePrefix, result.fwCode));
}

bool fileExists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}
