// Directories, the environment and configuration files.
#include <cerrno>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/temporary_directory.h"

namespace {

std::string taken(char *text) {
  std::string result = text == nullptr ? "(null)" : text;
  mg_free(text);
  return result;
}

class Configuration : public test::DirectoryTest {
protected:
  // What a key has in a file with that content.
  std::string valueIn(const std::string &content, const char *name = "key") const {
    test::writeFile(path, content);
    ConfigKey key{name, nullptr};
    EXPECT_EQ(mrt_get_config_from_file(path.c_str(), &key, 1), 0);
    return taken(key.value);
  }

  std::string path = directory / "krt.cfg";
};

} // namespace

TEST(Host, HasAWorkDirectoryWhereTheEnvironmentSaysSo) {
  setenv("KRT_WORKDIR", "/some/where", 1);
  EXPECT_EQ(taken(mrt_get_work_dir()), "/some/where");
  setenv("KRT_WORKDIR", "/else/where", 1);
  EXPECT_EQ(taken(mrt_get_work_dir()), "/else/where");
  unsetenv("KRT_WORKDIR");
  EXPECT_EQ(mrt_get_work_dir(), nullptr);
}

TEST(Host, HasADirectoryForTemporaryFiles) {
  setenv("TMPDIR", "/some/where", 1);
  EXPECT_STREQ(cpl_tmpdir(), "/some/where");
  unsetenv("TMPDIR");
  EXPECT_STREQ(cpl_tmpdir(), "/tmp");
}

TEST(Host, GivesTheEnvironment) {
  setenv("KRT_TEST", "value", 1);
  EXPECT_STREQ(cpl_getenv("KRT_TEST"), "value");
  setenv("KRT_TEST", "", 1);
  EXPECT_STREQ(cpl_getenv("KRT_TEST"), "");
  unsetenv("KRT_TEST");
  EXPECT_EQ(cpl_getenv("KRT_TEST"), nullptr);
}

TEST_F(Configuration, IsTheFileThatTheEnvironmentNames) {
  const std::string other = directory / "other.cfg";
  test::writeFile(path, "");
  test::writeFile(other, "");
  setenv("KRT_DATDIR", directory.path().c_str(), 1);
  setenv("KRT_CONFIG", other.c_str(), 1);
  EXPECT_EQ(taken(mrt_get_config_filespec()), other);
  unsetenv("KRT_CONFIG");
  EXPECT_EQ(taken(mrt_get_config_filespec()), path);
  unsetenv("KRT_DATDIR");
  EXPECT_EQ(mrt_get_config_filespec(), nullptr);
}

TEST_F(Configuration, HasValues) {
  EXPECT_EQ(valueIn("key=value\n"), "value");
  EXPECT_EQ(valueIn("other=x\nkey=value\nlast=y\n"), "value");
  EXPECT_EQ(valueIn("key=a=b = c\n"), "a=b = c");
  EXPECT_EQ(valueIn("key=value with blanks # and more\n"), "value with blanks # and more");
}

TEST_F(Configuration, HasNoneWhereTheKeyIsMissing) {
  for (const char *content : {"", "\n", "other=x\n", "key\n", "Key=x\n", "keys=x\n", "ke=x\n",
                              "#key=x\n", "=x\n", "x key=x\n"}) {
    EXPECT_EQ(valueIn(content), "(null)") << content;
  }
}

TEST_F(Configuration, CutsBlanksOff) {
  EXPECT_EQ(valueIn("  key  =  value  \n"), "value");
  EXPECT_EQ(valueIn("\tkey\t=\tva lue\t\n"), "va lue");
  EXPECT_EQ(valueIn(" a key = value\n", "a key"), "value");
}

TEST_F(Configuration, SkipsEmptyLinesAndComments) {
  EXPECT_EQ(valueIn("\n   \n# key=comment\n#\nkey=value\n#key=comment\n\n"), "value");
}

TEST_F(Configuration, HasTheLastValueOfAKey) {
  EXPECT_EQ(valueIn("key=first\nkey=second\nother=x\nkey=last\n"), "last");
}

TEST_F(Configuration, MayHaveEmptyValues) {
  EXPECT_EQ(valueIn("key=\n"), "");
  EXPECT_EQ(valueIn("key =  \n"), "");
  EXPECT_EQ(valueIn("key=first\nkey=\n"), "");
}

TEST_F(Configuration, MayEndWithoutAnEndOfLine) {
  EXPECT_EQ(valueIn("other=x\nkey=value"), "value");
  EXPECT_EQ(valueIn("key="), "");
}

TEST_F(Configuration, MayHaveLinesOfAnyLengthAndNumber) {
  const std::string value(100000, 'x');
  EXPECT_EQ(valueIn("key=" + value + "\n"), value);
  EXPECT_EQ(valueIn("other=" + value + "\nkey=value\n"), "value");
  std::string content;
  for (int i = 0; i < 20000; ++i) {
    content.append("key")
        .append(std::to_string(i))
        .append("=")
        .append(std::to_string(i))
        .append("\n");
  }
  EXPECT_EQ(valueIn(content, "key19999"), "19999");
}

TEST_F(Configuration, MayHoldAnyBytes) {
  std::string content = "key=value\n";
  for (int byte = 0; byte < 256; ++byte) {
    content.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(valueIn(content), "value");
  EXPECT_EQ(valueIn("key=\xff\x80\n"), "\xff\x80");
}

TEST_F(Configuration, GivesSeveralValuesAtOnce) {
  test::writeFile(path, "c=3\na=1\nd=4\n");
  ConfigKey keys[] = {{"a", nullptr}, {"b", nullptr}, {"c", nullptr}};
  EXPECT_EQ(mrt_get_config_from_file(path.c_str(), keys, 3), 0);
  EXPECT_EQ(taken(keys[0].value), "1");
  EXPECT_EQ(keys[1].value, nullptr);
  EXPECT_EQ(taken(keys[2].value), "3");
}

TEST_F(Configuration, GivesNoMoreValuesThanAskedFor) {
  test::writeFile(path, "a=1\nb=2\n");
  ConfigKey keys[] = {{"a", nullptr}, {"b", nullptr}};
  EXPECT_EQ(mrt_get_config_from_file(path.c_str(), keys, 1), 0);
  EXPECT_EQ(taken(keys[0].value), "1");
  EXPECT_EQ(keys[1].value, nullptr);
  EXPECT_EQ(mrt_get_config_from_file(path.c_str(), keys, 0), 0);
}

TEST_F(Configuration, LeavesAKeyThatIsMissingAlone) {
  test::writeFile(path, "other=x\n");
  char before[] = "before";
  ConfigKey key{"key", before};
  EXPECT_EQ(mrt_get_config_from_file(path.c_str(), &key, 1), 0);
  EXPECT_EQ(key.value, before);
}

TEST_F(Configuration, FailsWhereTheFileCannotBeRead) {
  const auto failsWith = [](const std::string &file) {
    ConfigKey key{"key", nullptr};
    errno = 0;
    EXPECT_EQ(mrt_get_config_from_file(file.c_str(), &key, 1), -1);
    EXPECT_EQ(key.value, nullptr);
    return errno;
  };
  EXPECT_EQ(failsWith(directory / "missing"), ENOENT);
  EXPECT_EQ(failsWith(directory / "missing/krt.cfg"), ENOENT);
  test::writeFile(path, "key=value\n");
  EXPECT_EQ(failsWith(path + "/krt.cfg"), ENOTDIR);
  EXPECT_NE(failsWith(directory.path()), 0);
}
