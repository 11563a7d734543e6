#ifndef COMMAND_LINE_WORDS_H_
#define COMMAND_LINE_WORDS_H_

#include <string>
#include <vector>

// A user's own words in lines for the user.

namespace vam {

/// Returns `text` as one line that a terminal shows and does not act on: every control character,
/// and every byte that is not UTF-8, as \xNN.
[[nodiscard]] std::string OneLine(const std::string& text);

/// Returns `word` in quotation marks as one line. Of more than 100 bytes it shows the first 100 or
/// fewer and "...".
[[nodiscard]] std::string Quoted(const std::string& word);

/// Returns the one of `candidates` that whoever typed `word` most likely meant, or nothing: the
/// only one that starts with it, or else the one that the fewest slips lead to, where a slip is a
/// letter too many, missing, wrong or swapped with the next. At most a third of the letters are
/// slips.
[[nodiscard]] std::string Closest(const std::string& word,
                                  const std::vector<std::string>& candidates);

/// Returns "; did you mean CANDIDATE?" for Closest(), and nothing where there is none.
[[nodiscard]] std::string Suggestion(const std::string& word,
                                     const std::vector<std::string>& candidates);

}  // namespace vam

#endif  // COMMAND_LINE_WORDS_H_
