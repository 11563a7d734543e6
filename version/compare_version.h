#ifndef VERSION_COMPARE_VERSION_H_
#define VERSION_COMPARE_VERSION_H_

#include <string>

/// Returns true if two firmware versions name the same firmware. They are compared byte by byte and
/// by position. "/" separates substrings, and "," separates the parts of a substring. Every pair of
/// parts is printed on two lines before it is compared.
///
/// A part of upper-case "X" alone is a wildcard and prints "Part skiped!". A wildcard in `first`
/// matches any part that is not empty. A wildcard in `second` matches only a part of its own
/// length. Offsets found in `first` apply to `second` too: after a wildcard that matched a part of
/// another length, the next part of `second` is read from the offset of `first`.
///
/// Empty substrings are passed over, and so is a "," at the end of a substring. Prints the reason
/// and returns false for
/// - strings of different length: "Size of versions diff!"
/// - substrings of different length: "SubString size diff!"
/// - an empty part: "Failed to parse sub versions!"
/// - parts that differ: "substrings part diff!"
///
/// Throws nothing but std::bad_alloc.
bool compareVersion(std::string first, std::string second);

#endif  // VERSION_COMPARE_VERSION_H_
