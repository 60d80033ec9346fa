// Every native method without a JVM, against a stub module, on the system that the library was built for. The program's
// one argument is the file of the stub module.

#include <filesystem>

#include "native_calls.h"

namespace {

// The module under a name of several scripts. In modified UTF-8 the sign beyond U+FFFF is two surrogates, which only
// Windows takes for a part of a name.
void copyModule(const char* stub)
{
    const std::filesystem::path name =
        packed ? u8"m\u00F6dul-\u4EE4\u724C-\U0001F511.dll" : u8"m\u00F6dul-\u4EE4\u724C.so";
    std::filesystem::remove(name);
    std::filesystem::copy_file(stub, name);
    modulePath = packed ? "./m\xC3\xB6"
                          "dul-\xE4\xBB\xA4\xE7\x89\x8C-\xED\xA0\xBD\xED\xB4\x91.dll"
                        : "./m\xC3\xB6"
                          "dul-\xE4\xBB\xA4\xE7\x89\x8C.so";
}

} // namespace

int main(int argc, char** argv)
{
    constexpr const char* debugOutput = "native_test.out";
    if (argc != 2 || std::freopen(debugOutput, "w", stdout) == nullptr)
        return 2;
    putenv(const_cast<char*>("TZ=UTC0"));

    copyModule(argv[1]);
    load();
    for (bool inPlace : {false, true}) { // a virtual machine may hand arrays out as copies, or as they are
        fake.inPlace = inPlace;
        testEveryMethod();
        testGrowingArrays();
        testSecrets();
        testDates();
    }
#ifdef _WIN32
    testStacks();
#endif
    testFailedLoads(debugOutput);
    std::fprintf(stderr, "%s, %d failures\n", packed ? "packed" : "aligned", failures);
    return failures == 0 ? 0 : 1;
}
