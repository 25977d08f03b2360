// Wildcard matching in its plainest form, to hold match() against.
#ifndef SPRIG_TESTS_SUPPORT_RECURSIVE_MATCH_H
#define SPRIG_TESTS_SUPPORT_RECURSIVE_MATCH_H

namespace test {

// What match() answers. Tries every place for every star, so that time grows without bounds.
int recursiveMatch(const char *pattern, const char *text);

} // namespace test

#endif
