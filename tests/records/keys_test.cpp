// The keys, which are variables of the library: programs link against their names.
#include <set>
#include <string>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <sprig/records.h>

namespace {

struct Key {
  const char *name;
  const char *const *variable;
  const char *text;
};

#define KEY(name, text) {#name, &(name), text},
const Key keys[] = {
#include "records/keys.inc"
};
#undef KEY

} // namespace

TEST(Keys, HaveTheirTexts) {
  for (const Key &key : keys) {
    EXPECT_STREQ(*key.variable, key.text) << key.name;
  }
}

TEST(Keys, AreVariablesThatTheLibraryExports) {
  for (const Key &key : keys) {
    EXPECT_EQ(dlsym(RTLD_DEFAULT, key.name), static_cast<const void *>(key.variable)) << key.name;
  }
}

TEST(Keys, AreAllHere) {
  std::set<std::string> names;
  for (const Key &key : keys) {
    EXPECT_TRUE(names.insert(key.name).second) << key.name;
  }
  EXPECT_EQ(names.size(), 143U);
}
