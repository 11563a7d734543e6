#include "vamctl/verdict_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "report/run_record.h"
#include "report/status_reader.h"

namespace vam {
namespace {

using ::testing::EndsWith;

TEST(VerdictTexts, EveryOutcome_IsSaid) {
  Verdict verdict;
  EXPECT_EQ(VerdictAsText(verdict),
            "verdict: none: the last run, if there was one, did not reach its end");
  EXPECT_EQ(VerdictAsJson(verdict),
            R"({"verdict":"none","version":null,"entries":[],"problems":[]})");
  verdict.version = "1.1\x1b";
  EXPECT_EQ(VerdictAsText(verdict),
            "verdict: none: the last run, if there was one, did not reach its end; an earlier run "
            "verified system version 1.1\\x1b");
  verdict.outcome = Outcome::kVerified;
  EXPECT_EQ(VerdictAsText(verdict),
            "verdict: verified: the chip runs the image's firmware, system version 1.1\\x1b");
  EXPECT_EQ(VerdictAsJson(verdict),
            R"({"verdict":"verified","version":"1.1\\x1b","entries":[],"problems":[]})");
  verdict.outcome = Outcome::kUnclear;
  verdict.problems = {"one", "two"};
  EXPECT_EQ(VerdictAsText(verdict),
            "verdict: unclear: the files do not tell how the last run ended\n"
            "problem: one\nproblem: two");
  EXPECT_EQ(VerdictAsJson(verdict),
            R"({"verdict":"unclear","version":"1.1\\x1b","entries":[],"problems":["one","two"]})");
}

TEST(VerdictTexts, ProblemsOfARecord_AreSaidAfterWhatWasMoved) {
  RunRecord record;
  record.outcome = RunOutcome::kNotVerified;
  record.problems = {"first\x1b", "second"};
  record.moved = {{"/tmp/VAM_OK", "/tmp/VAM_OK.foreign", "a pipe of user 7"}};
  EXPECT_THAT(VerdictAsText(record),
              EndsWith("\nproblem: /tmp/VAM_OK was a pipe of user 7; moved to /tmp/VAM_OK.foreign\n"
                       "problem: first\\x1b\n"
                       "problem: second"));
  EXPECT_THAT(VerdictAsJson(record),
              EndsWith(R"("problems":["/tmp/VAM_OK was a pipe of user 7; moved to )"
                       R"(/tmp/VAM_OK.foreign","first\\x1b","second"]})"));
}

TEST(VerdictTexts, Entries_AreSaidWithTheirCodes) {
  Verdict verdict;
  verdict.outcome = Outcome::kNotVerified;
  verdict.entries = EntriesOf({"hello\x1b", "VAM_RET_NOT_IMPLEMENTED 0 ",
                               "vam_updateFW failed:  -65536 ", "vam ret: 6 ", "fw ret: -51 "});
  EXPECT_EQ(VerdictAsText(verdict),
            "verdict: not verified: the last entry tells why\n"
            "last entries, the newest last:\n"
            "- The update tool writes no such line.\n"
            "  hello\\x1b\n"
            "- The board carries no VAM; the kernel driver's flag is the code.\n"
            "  VAM_RET_NOT_IMPLEMENTED\n"
            "  code: 0\n"
            "- The update of the chip (mode 3) failed.\n"
            "  vam_updateFW failed: \n"
            "  code: -65536, 0xFFFF0000 TEEC_ERROR_GENERIC\n"
            "  VAM: 6\n"
            "  firmware: -51 -ZELK_FW_ERROR");
  EXPECT_EQ(VerdictAsJson(verdict),
            R"({"verdict":"not verified","version":null,"entries":[)"
            R"({"message":"hello\\x1b","meaning":"The update tool writes no such line."},)"
            R"({"message":"VAM_RET_NOT_IMPLEMENTED",)"
            R"("meaning":"The board carries no VAM; the kernel driver's flag is the code.",)"
            R"("code":0},)"
            R"({"message":"vam_updateFW failed: ",)"
            R"("meaning":"The update of the chip (mode 3) failed.","code":-65536,)"
            R"("result":{"code":4294901760,"name":"TEEC_ERROR_GENERIC"},)"
            R"("record":{"vam":{"code":6,"name":null},)"
            R"("firmware":{"code":-51,"name":"-ZELK_FW_ERROR"}}}],"problems":[]})");
  verdict.version = "1.1";
  EXPECT_EQ(VerdictAsText(verdict).substr(0, 88),
            "verdict: not verified: the last entry tells why; an earlier run verified system "
            "version ");
}

TEST(VerdictTexts, LongTexts_AreCutInTextAndWholeInJson) {
  Verdict verdict;
  verdict.version = std::string(300, 'v');
  verdict.entries = EntriesOf({std::string(300, 'm')});
  EXPECT_EQ(VerdictAsText(verdict),
            "verdict: none: the last run, if there was one, did not reach its end; an earlier run "
            "verified system version " +
                std::string(200, 'v') +
                "...\n"
                "last entries, the newest last:\n- The update tool writes no such line.\n  " +
                std::string(200, 'm') + "...");
  EXPECT_EQ(VerdictAsJson(verdict),
            R"({"verdict":"none","version":")" + std::string(300, 'v') +
                R"(","entries":[{"message":")" + std::string(300, 'm') +
                R"(","meaning":"The update tool writes no such line."}],"problems":[]})");
}

}  // namespace
}  // namespace vam
