#include "companions/manual/page.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "companions/manual/program_sections.h"

namespace tarvex::manual {
namespace {

PageParts Parts() {
  PageParts parts;
  parts.words["WORD"] = "word";
  parts.sections["one"] = [](std::map<std::string, Note>& notes) {
    std::string text = "one\n";
    for (auto& [key, note] : notes) {
      note.used = true;
      text += key + ":" + note.argument + ":" + note.text;
    }
    return text;
  };
  parts.sections["none"] = [](std::map<std::string, Note>&) { return std::string("none\n"); };
  return parts;
}

TEST(PageTest, PutsSectionsAndWordsInTheirPlaces) {
  EXPECT_EQ(MakePage("a @WORD@ b\n@section none\nmail@host\n", Parts()),
            "a word b\nnone\nmail@host\n");
}

TEST(PageTest, GivesASectionItsNotes) {
  EXPECT_EQ(MakePage("@note x a b\nof @WORD@\n@end\n@section one\n", Parts()),
            "one\nx:a b:of word\n");
}

TEST(PageTest, RefusesWhatBelongsToNothing) {
  EXPECT_THROW(MakePage("@section two\n", Parts()), std::runtime_error);
  EXPECT_THROW(MakePage("@NONE@\n", Parts()), std::runtime_error);
  EXPECT_THROW(MakePage("@note x\ntext\n@end\n@section none\n", Parts()), std::runtime_error);
}

// An option that is gone takes its note with it.
TEST(PageTest, ANoteOfNoOptionIsRefused) {
  PageParts parts;
  AddProgramSections(parts);
  EXPECT_NO_THROW(MakePage("@note M module\n@end\n@section options\n", parts));
  EXPECT_THROW(MakePage("@note 7\n@end\n@section options\n", parts), std::runtime_error);
}

}  // namespace
}  // namespace tarvex::manual
