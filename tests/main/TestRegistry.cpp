#include "TestRegistry.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

std::map<std::string, TestRegistry::Runner> &runners()
{
    static std::map<std::string, TestRegistry::Runner> all;
    return all;
}

} // namespace

bool TestRegistry::add(const char *name, Runner runner)
{
    const bool fresh = runners().emplace(name, runner).second;
    Q_ASSERT_X(fresh, "TestRegistry::add", name);
    return fresh;
}

int TestRegistry::run(int argc, char **argv)
{
    const auto found = argc > 1 ? runners().find(argv[1]) : runners().end();
    if (found == runners().end()) {
        std::fprintf(stderr, "usage: %s TESTCLASS [QTest options]\nclasses:", argc > 0 ? argv[0] : "tests");
        for (const auto &entry : runners())
            std::fprintf(stderr, " %s", entry.first.c_str());
        std::fprintf(stderr, "\n");
        return 2;
    }
    // QTest sees the program name and the options after the class.
    std::vector<char *> rest{argv[0]};
    rest.insert(rest.end(), argv + 2, argv + argc);
    rest.push_back(nullptr);
    return found->second(argc - 1, rest.data());
}
