#include "recorder/recording.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace vam {
namespace {

TEST(RecordingTest, Text_ComesBack) {
  for (const bool withKeys : {false, true}) {
    Recording written;
    written.settings.start = 18446744073709551615U;
    written.settings.withKeys = withKeys;
    written.notes = "/proc/4/fd/7";
    written.journal = "/a folder/with \"all\"\n of it.journal";
    Recording read;
    ASSERT_TRUE(ReadRecording(RecordingAsText(written).c_str(), read));
    EXPECT_EQ(read.settings.start, written.settings.start);
    EXPECT_EQ(read.settings.withKeys, withKeys);
    EXPECT_EQ(read.notes, written.notes);
    EXPECT_EQ(read.journal, written.journal);
  }
}

TEST(RecordingTest, OtherText_IsNoRecording) {
  Recording recording;
  EXPECT_FALSE(ReadRecording(nullptr, recording));
  for (const char* text :
       {"", "1", "1 0", "1 0 ", "1 2 /n /j", "1 0 /n", "1 0 /n j", "x 0 /n /j", "1 0/n /j", "/j"}) {
    EXPECT_FALSE(ReadRecording(text, recording)) << text;
  }
}

TEST(NotesTest, NothingNoted_IsNothing) {
  const int file = MakeNotes();
  ASSERT_GE(file, 0);
  EXPECT_FALSE(ReadNotes(file).isLoaded);
  EXPECT_EQ(ReadNotes(file).trouble, "");
  close(file);
}

TEST(NotesTest, WhatAProcessNoted_IsRead) {
  const int file = MakeNotes();
  NoteLoaded(PathOfNotes(file));
  EXPECT_TRUE(ReadNotes(file).isLoaded);
  EXPECT_EQ(ReadNotes(file).trouble, "");
  NoteTrouble(PathOfNotes(file), "No space left on device");
  NoteLoaded(PathOfNotes(file));
  EXPECT_TRUE(ReadNotes(file).isLoaded);
  EXPECT_EQ(ReadNotes(file).trouble, "No space left on device");
  close(file);
}

TEST(NotesTest, OpeningsOfTheNode_AreThoseThatWereNotedLast) {
  const int file = MakeNotes();
  const std::string notes = PathOfNotes(file);
  NoteOpening(notes, 0, 5);
  NoteOpening(notes, 1000, 6);
  NoteOpening(notes, 0, 7);
  EXPECT_EQ(NotedOpening(notes, 0), 7U);
  EXPECT_EQ(NotedOpening(notes, 1), 0U);
  EXPECT_EQ(NotedOpening(notes, 1000), 6U);
  EXPECT_EQ(ReadNotes(file).trouble, "");
  NoteTrouble(notes, std::string(300, 'x'));
  EXPECT_EQ(ReadNotes(file).trouble, std::string(255, 'x'));
  EXPECT_EQ(NotedOpening(notes, 0), 7U) << "a long trouble takes no room of theirs";
  close(file);
}

TEST(NotesTest, FileOfNotesThatHasGone_ChangesNothing) {
  errno = ENOTTY;
  NoteLoaded("/proc/0/fd/3");
  NoteTrouble("/proc/0/fd/3", "trouble");
  EXPECT_EQ(errno, ENOTTY);
}

}  // namespace
}  // namespace vam
