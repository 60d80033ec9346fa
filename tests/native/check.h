// How the programs here compare: each difference is printed and counted.
#pragma once

#include <cstdio>
#include <string>

inline int failures = 0;

inline void check(const std::string& expected, const std::string& found)
{
    if (expected == found)
        return;
    ++failures;
    std::fprintf(stderr, "expected: %s\n   found: %s\n", expected.c_str(), found.c_str());
}
