#include "companions/complete/path_words.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/test_folder.h"

namespace tarvex::complete {
namespace {

class PathWordsTest : public ::testing::Test {
 protected:
  PathWordsTest() {
    for (const char* folder : {"logs", "$(x)", ".hidden"}) {
      std::filesystem::create_directory(Root() + "/" + folder);
    }
    for (const char* file : {"left.txt", "odd name", "a;b", "line\nfeed"}) {
      std::ofstream(Root() + "/" + file) << "x";
    }
  }
  std::string Root() const { return folder_.Path(); }
  std::vector<std::string> Offered(const std::string& typed, PathKind kind) const {
    Answer answer("-o" + typed);
    OfferPaths(answer, "-o", kind);
    std::vector<std::string> words;
    for (const Candidate& candidate : answer.candidates()) words.push_back(candidate.text);
    return words;
  }

 private:
  TestFolder folder_;
};

TEST_F(PathWordsTest, OffersFoldersAndFilesOfPlainNames) {
  EXPECT_EQ(Offered(Root() + "/", PathKind::kFile),
            (std::vector<std::string>{"-o" + Root() + "/left.txt", "-o" + Root() + "/logs/"}));
}

TEST_F(PathWordsTest, OffersFoldersAloneWhereOneIsWanted) {
  EXPECT_EQ(Offered(Root() + "/l", PathKind::kFolder),
            std::vector<std::string>{"-o" + Root() + "/logs/"});
}

TEST_F(PathWordsTest, OffersWhatIsHiddenWhenItIsAskedFor) {
  EXPECT_EQ(Offered(Root() + "/.", PathKind::kFile),
            std::vector<std::string>{"-o" + Root() + "/.hidden/"});
}

TEST_F(PathWordsTest, ARelativePathCountsFromElsewhere) {
  EXPECT_EQ(Offered("", PathKind::kFile), std::vector<std::string>{"-o/"});
  EXPECT_TRUE(Offered("tm", PathKind::kFile).empty());
}

TEST_F(PathWordsTest, AFolderThatIsNotThereOffersNothing) {
  EXPECT_TRUE(Offered(Root() + "/none/", PathKind::kFile).empty());
}

}  // namespace
}  // namespace tarvex::complete
