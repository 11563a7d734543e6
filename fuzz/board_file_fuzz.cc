// Reads arbitrary board files.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_target.h"
#include "simulator/board/board.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/firmware_image.h"

namespace {

void RequireWithinBounds(const vam::Board& board) {
  for (const std::string* version :
       {&board.image.systemVersion, &board.image.appVersion, &board.image.runsSystemVersion,
        &board.image.runsAppVersion, &board.chip.systemVersion, &board.chip.appVersion}) {
    vam::Require(version->size() <= vam::kVersionCapacity);
  }
  vam::Require(board.image.payloadSize <= vam::kPartSizeLimit);
  vam::Require(board.chip.information.size() <= vam::kInformationCapacity);
  vam::Require(board.chip.hackInformation.size() <= vam::kHackInformationCapacity);
  vam::Require(board.chip.akRecord.size() <= vam::kAkRecordCapacity);
  vam::Require(board.chip.rpmbRecord.size() <= vam::kAkRecordCapacity);
  for (std::size_t i = 0; i < board.faults.size(); ++i) {
    vam::Require(board.faults[i].number == i + 1);
    vam::Require(board.faults[i].answer.byteCount <= vam::kAnswerFaultBytes);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  try {
    RequireWithinBounds(vam::ReadBoardText(text, "board.toml"));
  } catch (const vam::BoardError& error) {
    const std::string line = error.what();
    vam::Require(line.rfind("board.toml:", 0) == 0 && line.find('\n') == std::string::npos);
  }
  return 0;
}
