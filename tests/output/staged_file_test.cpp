// SPDX-License-Identifier: BSD-3-Clause
// Output files that are replaced atomically.
#include "pcbin_las/output/staged_file.h"

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "pcbin_las/output/file_links.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using ferrun::StagedFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class StagedFileTest : public testing::Test {
 protected:
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path()))
      result.push_back(entry.path().filename());
    return result;
  }

  /// Writes `contents` to `target` through a staged file.
  bool put(const std::string& target, const std::string& contents) const {
    StagedFile file;
    if (!file.create(dir_.path(target))) return false;
    std::ofstream(file.temporaryName()) << contents;
    return file.publish();
  }

  mode_t mode(const std::string& name) const {
    struct stat status {};
    return stat(dir_.path(name).c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  test::TempDir dir_;
  test::CapturedLines captured_;
};

TEST_F(StagedFileTest, ReplacesItsTargetOnlyWhenPublished) {
  dir_.write("map.las", "before");
  chmod(dir_.path("map.las").c_str(), 0640);
  {
    StagedFile file;
    ASSERT_TRUE(file.create(dir_.path("map.las")));
    dir_.write(std::filesystem::path(file.temporaryName()).filename(), "after");
    EXPECT_THAT(file.temporaryName(),
                testing::MatchesRegex(dir_.path() + "/\\.map\\.las\\.[0-9a-f]{16}\\.part"));
  }
  EXPECT_THAT(names(), ElementsAre("map.las"));
  EXPECT_EQ(test::readFile(dir_.path("map.las")), "before");
  EXPECT_TRUE(put("map.las", "after"));
  EXPECT_THAT(names(), ElementsAre("map.las"));
  EXPECT_EQ(test::readFile(dir_.path("map.las")), "after");
  EXPECT_EQ(mode("map.las"), 0640U);
  EXPECT_THAT(captured_.lines(), IsEmpty());
}

TEST_F(StagedFileTest, FollowsLinks) {
  std::filesystem::create_directory(dir_.path("data"));
  symlink("data/map.las", dir_.path("link").c_str());
  symlink("link", dir_.path("link2").c_str());
  for (const char* const contents : {"new", "replaced"}) {
    EXPECT_TRUE(put("link2", contents));
    EXPECT_EQ(test::readFile(dir_.path("data/map.las")), contents);
  }
  EXPECT_THAT(names(), UnorderedElementsAre("data", "link", "link2"));
  EXPECT_TRUE(ferrun::resolveToSameFile(dir_.path("link2"), dir_.path("data/map.las")));
  symlink("data/none", dir_.path("loose").c_str());
  EXPECT_TRUE(ferrun::resolveToSameFile(dir_.path("loose"), dir_.path("data/../data//none")));
  EXPECT_FALSE(ferrun::resolveToSameFile(dir_.path("loose"), dir_.path("none")));
}

TEST_F(StagedFileTest, RefusesWhatIsNoRegularFile) {
  symlink("circle", dir_.path("circle").c_str());
  mkfifo(dir_.path("pipe").c_str(), 0600);
  for (const char* const name : {"circle", "pipe", ".", "none/map.las", "new/", ""}) {
    StagedFile file;
    EXPECT_FALSE(file.create(*name == '\0' ? "" : dir_.path(name))) << name;
  }
  EXPECT_FALSE(StagedFile().create("/dev/null"));
  EXPECT_THAT(names(), UnorderedElementsAre("circle", "pipe"));
  EXPECT_THAT(captured_.lines(), testing::SizeIs(7));
  if (geteuid() == 0) return;  // who may write everything
  dir_.write("locked", "");
  chmod(dir_.path("locked").c_str(), 0400);
  EXPECT_FALSE(put("locked", "x"));
}

TEST_F(StagedFileTest, ShortensLongNames) {
  std::string name;
  for (int i = 0; i < 127; ++i) name += "\xC3\xA9";
  EXPECT_TRUE(put(name + "x", "long"));
  StagedFile file;
  EXPECT_TRUE(file.create(dir_.path(name)));
  const std::string temporary = std::filesystem::path(file.temporaryName()).filename();
  // 116 letters of two bytes.
  EXPECT_EQ(temporary.substr(0, 1 + 232), "." + name.substr(0, 232));
  EXPECT_EQ(temporary.size(), 1U + 232 + 1 + 16 + 5);
}

TEST_F(StagedFileTest, RemovesLeftoversWhoseLockIsFree) {
  const std::string free = ".map.las.0123456789abcdef.part";
  const std::string held = ".map.las.0123456789abcdee.part";
  dir_.write(free, "");
  dir_.write(".map.las.0123456789abcde.part", "another file");
  dir_.write(".map2.las.0123456789abcdef.part", "of another target");
  const int lock = open(dir_.write(held, "").c_str(), O_RDWR);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  EXPECT_TRUE(put("map.las", "x"));
  EXPECT_THAT(names(), UnorderedElementsAre("map.las", held, ".map.las.0123456789abcde.part",
                                            ".map2.las.0123456789abcdef.part"));
  close(lock);
  EXPECT_TRUE(put("map.las", "x"));
  EXPECT_THAT(names(), testing::Not(testing::Contains(held)));
  EXPECT_THAT(captured_.lines(), IsEmpty());
}

TEST_F(StagedFileTest, IsRemovedByTheSignalsThatEndTheProcess) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const pid_t child = fork();
    if (child == 0) {
      std::signal(SIGINT, SIG_DFL);
      ferrun::handleStopSignals();
      StagedFile first, second;
      if (!first.create(dir_.path("a")) || !second.create(dir_.path("b")) || !first.publish())
        _exit(1);
      raise(signal);
      _exit(2);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_THAT(names(), ElementsAre("a"));
  }
}

}  // namespace
