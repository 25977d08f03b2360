#include <cerrno>
#include <cstring>
#include <string>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/pal_error.h"
#include "support/temporary_directory.h"

using test::failed;
using test::invalid;
using test::ok;

namespace {

constexpr const char *drivePath = "c:\\file";
constexpr const char *unknownName = "no such account";

class FileOwner : public test::DirectoryTest {
protected:
  FileOwner() { test::writeFile(path, ""); }

  struct stat status() const {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status;
  }

  // What giving a file away comes to: only the superuser may.
  static PalError givenAway() { return geteuid() == 0 ? ok : failed(EPERM, 4); }

  const std::string path = directory / "f";
};

} // namespace

TEST_F(FileOwner, IsTheOneWhoMadeTheFile) {
  char name[1024];
  EXPECT_EQ(PalFileGetOwner(name, path.c_str(), sizeof(name)), ok);
  EXPECT_STREQ(name, getpwuid(geteuid())->pw_name);
  EXPECT_EQ(PalFileGetGroup(name, path.c_str(), sizeof(name)), ok);
  EXPECT_STREQ(name, getgrgid(status().st_gid)->gr_name);
}

TEST_F(FileOwner, StandsInTheFilesInformation) {
  PalFileInfoT info;
  EXPECT_EQ(PalFileGetInfo(path.c_str(), &info), ok);
  EXPECT_STREQ(info.user, getpwuid(geteuid())->pw_name);
  EXPECT_STREQ(info.group, getgrgid(status().st_gid)->gr_name);
}

TEST_F(FileOwner, BringsThePrimaryGroupAlong) {
  const passwd *daemon = getpwnam("daemon");
  ASSERT_NE(daemon, nullptr);
  EXPECT_EQ(PalFileSetOwner("daemon", path.c_str()), givenAway());
  EXPECT_EQ(status().st_uid, geteuid() == 0 ? daemon->pw_uid : geteuid());
  EXPECT_EQ(status().st_gid, geteuid() == 0 ? daemon->pw_gid : getegid());
}

TEST_F(FileOwner, StaysWhenTheGroupChanges) {
  const group *daemon = getgrnam("daemon");
  ASSERT_NE(daemon, nullptr);
  constexpr uid_t somebody = 54321; // not the superuser, whose number anything might leave behind
  const bool isGiven = chown(path.c_str(), somebody, static_cast<gid_t>(-1)) == 0;
  ASSERT_EQ(isGiven, geteuid() == 0);
  const uid_t owner = status().st_uid;
  EXPECT_EQ(PalFileSetGroup("daemon", path.c_str()), givenAway());
  EXPECT_EQ(status().st_uid, owner);
  EXPECT_EQ(status().st_gid, geteuid() == 0 ? daemon->gr_gid : getegid());
}

TEST_F(FileOwner, StaysWhenTheNewOneIsUnknown) {
  const struct stat before = status();
  EXPECT_EQ(PalFileSetOwner(unknownName, path.c_str()), ok);
  EXPECT_EQ(PalFileSetGroup(unknownName, path.c_str()), ok);
  EXPECT_EQ(PalFileSetOwner(unknownName, (directory / "missing").c_str()), ok);
  EXPECT_EQ(status().st_uid, before.st_uid);
  EXPECT_EQ(status().st_gid, before.st_gid);
}

TEST_F(FileOwner, IsEmptyWhenTheIdHasNoName) {
  constexpr uid_t nameless = 54321;
  ASSERT_EQ(getpwuid(nameless), nullptr);
  ASSERT_EQ(getgrgid(nameless), nullptr);
  const bool isGiven = chown(path.c_str(), nameless, nameless) == 0;
  ASSERT_EQ(isGiven, geteuid() == 0);
  PalFileInfoT info;
  char user[16] = "before";
  char group[16] = "before";
  EXPECT_EQ(PalFileGetOwner(user, path.c_str(), sizeof(user)), ok);
  EXPECT_EQ(PalFileGetGroup(group, path.c_str(), sizeof(group)), ok);
  EXPECT_EQ(PalFileGetInfo(path.c_str(), &info), ok);
  EXPECT_STREQ(info.user, isGiven ? "" : getpwuid(geteuid())->pw_name);
  EXPECT_STREQ(user, info.user);
  EXPECT_STREQ(group, info.group);
}

TEST_F(FileOwner, IsCutWithoutATerminator) {
  char name[] = "zzzz";
  EXPECT_EQ(PalFileGetOwner(name, path.c_str(), 1), ok);
  EXPECT_EQ(name[0], getpwuid(geteuid())->pw_name[0]);
  EXPECT_STREQ(name + 1, "zzz");
  EXPECT_EQ(PalFileGetGroup(name + 1, path.c_str(), 0), ok);
  EXPECT_STREQ(name + 1, "zzz");
}

TEST_F(FileOwner, IsNotSetWithoutANameAPathOrAFile) {
  const std::string missing = directory / "missing";
  for (auto *set : {PalFileSetOwner, PalFileSetGroup}) {
    EXPECT_EQ(set(nullptr, path.c_str()), invalid(1));
    EXPECT_EQ(set("root", nullptr), invalid(1));
    EXPECT_EQ(set("root", drivePath), invalid(3));
    EXPECT_EQ(set(unknownName, drivePath), invalid(3));
    EXPECT_EQ(set("root", missing.c_str()), failed(ENOENT, 4));
  }
}

TEST_F(FileOwner, IsNotToldWithoutABufferAPathOrAFile) {
  char name[8] = "before";
  const std::string missing = directory / "missing";
  for (auto *get : {PalFileGetOwner, PalFileGetGroup}) {
    EXPECT_EQ(get(nullptr, path.c_str(), 8), invalid(1));
    EXPECT_EQ(get(name, nullptr, 8), invalid(1));
    EXPECT_EQ(get(name, drivePath, 8), invalid(2));
    EXPECT_EQ(get(name, missing.c_str(), 8), failed(ENOENT, 3));
    EXPECT_STREQ(name, "before");
  }
}
