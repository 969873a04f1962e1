// SPDX-License-Identifier: BSD-3-Clause
// Output files that are replaced atomically.
#include "pcbin_las/output/staged_file.h"

#include <csignal>
#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using ferrun::StagedFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class StagedFileTest : public testing::Test {
 protected:
  std::vector<std::string> names() const { return dir_.names(); }

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
  EXPECT_EQ(test::readFile(dir_.path("map.las")), "after");
  EXPECT_EQ(mode("map.las"), 0640U);
  EXPECT_TRUE(put("new.las", ""));
  dir_.write("ordinary", "");
  EXPECT_EQ(mode("new.las"), mode("ordinary"));
  EXPECT_THAT(captured_.lines(), IsEmpty());
}

TEST_F(StagedFileTest, ReplacesItsTargetOnlyWithTheFileThatItCreated) {
  dir_.write("map.las", "before");
  dir_.write("other", "kept");
  dir_.write("summary", "old");
  symlink("summary", dir_.path("link").c_str());
  const auto removeSummary = [this] { return ferrun::removeOutput(dir_.path("link")); };
  for (const bool replaced : {true, false}) {
    StagedFile file;
    ASSERT_TRUE(file.create(dir_.path("map.las")));
    ASSERT_EQ(write(file.descriptor(), "after", 5), 5);
    std::filesystem::rename(file.temporaryName(), dir_.path("moved"));
    if (replaced) symlink("other", file.temporaryName().c_str());
    EXPECT_FALSE(file.publish(removeSummary));
  }
  EXPECT_EQ(test::readFile(dir_.path("map.las")), "before");
  EXPECT_EQ(test::readFile(dir_.path("other")), "kept");
  EXPECT_EQ(test::readFile(dir_.path("link")), "old") << "removed only right before the rename";
  EXPECT_THAT(captured_.lines(),
              testing::Contains(testing::HasSubstr("another program has moved or")).Times(2));
  StagedFile file;
  ASSERT_TRUE(file.create(dir_.path("map.las")));
  EXPECT_FALSE(file.publish([] { return false; }));
  EXPECT_EQ(test::readFile(dir_.path("map.las")), "before");
  ASSERT_TRUE(file.create(dir_.path("map.las")));
  EXPECT_TRUE(file.publish(removeSummary));
  EXPECT_FALSE(std::filesystem::exists(dir_.path("summary")));
  EXPECT_TRUE(std::filesystem::is_symlink(dir_.path("link")));
}

TEST_F(StagedFileTest, KeepsTheGroupOrGivesAnotherOneOnlyTheRightsOfOthers) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another group";
  chmod(dir_.path().c_str(), 0777);
  constexpr gid_t kGroup = 12345;
  for (const auto& [member, owner, before, after] :
       {std::tuple<bool, uid_t, mode_t, mode_t>{false, 65534, 0642, 0602},
        {false, 65534, 0664, 0644},
        {true, 12346, 0662, 0662}}) {
    const std::string path = dir_.write("map.las", "before");
    ASSERT_EQ(chown(path.c_str(), owner, kGroup), 0);
    ASSERT_EQ(chmod(path.c_str(), before), 0);
    const pid_t child = fork();
    if (child == 0) {
      if (setgroups(member ? 1 : 0, &kGroup) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
        _exit(2);
      _exit(put("map.las", "after") ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(mode("map.las"), after);
    struct stat replaced {};
    ASSERT_EQ(stat(path.c_str(), &replaced), 0);
    EXPECT_EQ(replaced.st_uid, 65534U);
    EXPECT_EQ(replaced.st_gid == kGroup, member);
  }
}

TEST_F(StagedFileTest, LooksAgainWhileAnotherProcessReplacesTheTarget) {
  dir_.write("map.las", "");
  symlink("map.las", dir_.path("link").c_str());
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    while (true) std::filesystem::rename(dir_.write("new", ""), dir_.path("map.las"));
  }
  int created = 0;
  for (int k = 0; k < 3000; ++k) created += StagedFile().create(dir_.path("link")) ? 1 : 0;
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(created, 3000);
}

TEST_F(StagedFileTest, WarnsOnceOfADirectoryThatCannotBeSynced) {
  const pid_t child = fork();
  if (child == 0) {
    chmod(dir_.path().c_str(), 0333);
    if (geteuid() == 0 && (chown(dir_.path().c_str(), 65534, 65534) != 0 || setuid(65534) != 0))
      _exit(9);
    if (!put("a", "x") || !put("b", "y") || !ferrun::removeOutput(dir_.path("a"))) _exit(8);
    _exit(captured_.lines().size() == 1 && captured_.lines()[0].starts_with("<W>") ? 0 : 7);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  chmod(dir_.path().c_str(), 0700);
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
  if (geteuid() == 0) mknod(dir_.path("device").c_str(), S_IFCHR | 0600, makedev(1, 3));
  const std::vector<std::string> before = names();
  for (const char* const name : {"circle", "pipe", ".", "none/map.las", "new/", "device/a", ""}) {
    StagedFile file;
    EXPECT_FALSE(file.create(*name == '\0' ? "" : dir_.path(name))) << name;
  }
  EXPECT_TRUE(geteuid() != 0 || !StagedFile().create(dir_.path("device")));
  EXPECT_EQ(names(), before);
  EXPECT_THAT(captured_.lines(), testing::SizeIs(geteuid() == 0 ? 8 : 7));
}

TEST_F(StagedFileTest, RefusesWhatTheUserMayNotWrite) {
  dir_.write("locked", "kept");
  chmod(dir_.path("locked").c_str(), 0444);
  chmod(dir_.path().c_str(), 0777);
  const bool root = geteuid() == 0;  // who may write everything
  ASSERT_TRUE(!root || seteuid(65534) == 0);
  EXPECT_FALSE(put("locked", "x"));
  EXPECT_TRUE(put("own", "x"));
  ASSERT_TRUE(!root || seteuid(0) == 0);
  EXPECT_EQ(test::readFile(dir_.path("locked")), "kept");
  EXPECT_EQ(mode("locked"), 0444U);
}

TEST_F(StagedFileTest, ShortensLongNamesByWholeLetters) {
  std::string letters;
  for (int i = 0; i < 127; ++i) letters += "\xC3\xA9";
  EXPECT_TRUE(put(letters + "x", "long"));
  const std::pair<std::string, std::size_t> rows[] = {{letters, 232}, {"x" + letters, 231}};
  for (const auto& [name, kept] : rows) {
    StagedFile file;
    EXPECT_TRUE(file.create(dir_.path(name)));
    const std::string temporary = std::filesystem::path(file.temporaryName()).filename();
    EXPECT_EQ(temporary.substr(0, temporary.size() - 22), "." + name.substr(0, kept));
  }
}

TEST_F(StagedFileTest, RemovesLeftoversWhoseLockIsFree) {
  dir_.write(".map.las.0123456789abcdef.part", "");
  const std::string held = ".map.las.0123456789abcdee.part";
  const int lock = open(dir_.write(held, "").c_str(), O_RDWR);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  std::vector<std::string> others = {
      ".map.las.0123456789abcde.part",   ".map.las.0123456789abcdeF.part",
      ".map.las.0123456789abcdef.Part",  ".map.las.0123456789abcdef0.part",
      ".map2.las.0123456789abcdef.part", "map.las.0123456789abcdef.part"};
  for (const std::string& name : others) dir_.write(name, "not a leftover");
  EXPECT_TRUE(put("map.las", "x"));
  others.emplace_back("map.las");
  EXPECT_THAT(names(), testing::IsSupersetOf(others));
  EXPECT_THAT(names(), testing::SizeIs(others.size() + 1)) << "and the one in use";
  close(lock);
  EXPECT_TRUE(put("map.las", "x"));
  EXPECT_THAT(names(), testing::UnorderedElementsAreArray(others));
  EXPECT_THAT(captured_.lines(), IsEmpty());
}

TEST_F(StagedFileTest, IsRemovedByTheSignalsThatEndTheProcess) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      std::signal(signal, SIG_DFL);  // nohup ignores one
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
