#include "journal/sha256.h"

#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <cstddef>
#include <string>

#include "journal/journal_text.h"

namespace vam {
namespace {

TEST(Sha256Test, KnownTexts_HaveThePublishedDigests) {
  EXPECT_EQ(Sha256InHex("", 0), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256InHex(nullptr, 0),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256InHex("abc", 3),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

/// The padding takes one block or two, at every length of the last block.
TEST(Sha256Test, EveryLengthOfThreeBlocks_EqualsLibcryptos) {
  std::string bytes;
  for (std::size_t length = 0; length <= 192; ++length) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest);
    EXPECT_EQ(Sha256InHex(bytes.data(), bytes.size()), InHexadecimal(digest, sizeof digest))
        << length;
    bytes += static_cast<char>(length * 37);
  }
}

}  // namespace
}  // namespace vam
