#ifndef SIMULATOR_BOARD_WRONG_BOARD_TEST_H_
#define SIMULATOR_BOARD_WRONG_BOARD_TEST_H_

// Board files that are refused.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "simulator/board/board.h"

namespace vam {

struct WrongBoard {
  const char* name;
  std::string text;
  /// How the error starts, after "some.toml:".
  const char* error;
};

inline void PrintTo(const WrongBoard& board, std::ostream* stream) { *stream << board.text; }

inline std::string NameOf(const ::testing::TestParamInfo<WrongBoard>& instance) {
  return instance.param.name;
}

/// Expects one line that names the file, the place and what is wrong there.
inline void ExpectRefused(const WrongBoard& board) {
  try {
    (void)ReadBoardText(board.text, "some.toml");
    FAIL() << "the board was taken";
  } catch (const BoardError& error) {
    const std::string line = error.what();
    EXPECT_EQ(line.find(std::string("some.toml:") + board.error), 0U) << line;
    EXPECT_EQ(line.find('\n'), line.npos) << line;
  }
}

}  // namespace vam

#endif  // SIMULATOR_BOARD_WRONG_BOARD_TEST_H_
