// The library's use of the system: stacks, calendars, modules.

#include <fstream>
#include <sstream>

#ifdef _WIN32
#include <windows.h>
#endif

#include "native_calls.h"

#ifdef _WIN32
namespace {

// A template is granted while 128 KiB of the thread's stack stay free, and refused beyond. (On Linux the suites in Java
// test it.)
DWORD WINAPI testStack(void* /*unused*/)
{
    constexpr std::size_t kKiB = 1024;
    ULONG_PTR low = 0;
    ULONG_PTR high = 0;
    GetCurrentThreadStackLimits(&low, &high); // Wine makes no thread's stack smaller than 1 MiB
    const std::size_t refused = high - low - 128 * kKiB;
    const std::size_t granted = refused - 64 * kKiB;
    for (std::size_t size : {granted, refused, 64 * kKiB * kKiB}) {
        Ref large = newObjects({newBytes(std::string(size, 'x'))});
        checkCall(size == granted
                      ? "C_CreateObject S 11=(" + std::to_string(size) + " bytes) -> NativePKCS11Object(@,0x11)"
                      : " -> null PKCS11Exception('memory allocation for temporary template failed!')",
                  CALL(SESSION(createObject), newInts({CKA_VALUE}), large));
    }
    return 0;
}

} // namespace

void testStacks()
{
    for (SIZE_T stackSize : {256 * 1024, 1024 * 1024}) {
        HANDLE thread =
            CreateThread(nullptr, stackSize, testStack, nullptr, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
}
#endif

// The calendar of a system's own functions may end in the year 3000; days have years of four digits.
void testDates()
{
    constexpr int64_t kDay = 86400000;
    const std::pair<int64_t, const char*> rows[] = {
        {0, "19700101"},     {32535129600000, "30001231"}, {32535216000000, "30010101"}, {253402214400000, "99991231"},
        {-kDay, "19691231"}, {-62135596800000, "00010101"}};
    for (const auto& [midnight, day] : rows) {
        Ref late = date(midnight + kDay - 1);
        checkCall(midnight < 0 ? " ->  " + raised(CKR_ATTRIBUTE_VALUE_INVALID)
                               : "C_SetAttributeValue S K" + entry(CKA_END_DATE, day) + " -> ",
                  CALL(OBJECT(setAttributeValue), CKA_END_DATE, late));
        token.attributes[CKA_END_DATE] = day;
        checkCall("C_GetAttributeValue S K" + fetch(CKA_END_DATE, 8) + " -> Date(" + std::to_string(midnight) + ")",
                  CALL(OBJECT(getDateAttributeValue), CKA_END_DATE));
    }
    checkCall(" ->  " + raised(CKR_ATTRIBUTE_VALUE_INVALID),
              CALL(OBJECT(setAttributeValue), CKA_END_DATE, date(253402300800000)));
}

// A path without a module: the exception quotes it, the debug line has the system's own reason. A NUL in the path must
// not end it.
void testFailedLoads(const char* debugOutput)
{
    putenv(const_cast<char*>("PKCS11DEBUG=1"));
    const std::string withNul = modulePath + "\xC0\x80";
    const std::pair<std::string, std::string> rows[] = {
        {"./none.dll",
         packed ? "system error 126" : "./none.dll: cannot open shared object file: No such file or directory"},
        {withNul,
         packed ? "system error 123" : withNul + ": cannot open shared object file: No such file or directory"}};
    std::string expected;
    for (const auto& row : rows) {
        checkCall(" -> 0 PKCS11Exception('LoadLibrary(\"" + row.first + "\") failed')",
                  CALL(LIBRARY(loadPKCS11Library), newString(row.first)));
        expected += "tokbridge:  " + row.second + "\n";
    }
    std::ostringstream written;
    written << std::ifstream(debugOutput).rdbuf();
    check(expected, written.str());
}
