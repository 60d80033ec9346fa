// A Cryptoki module with two function lists, of version 2.20 and of edition 3.2, which a program fills. It does not
// return them while their version is 0.
#include "module_functions.h"

#ifdef _WIN32
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C"
#endif

namespace {

ModuleLists makeLists()
{
    ModuleLists made = {};
    made.list.version = {2, 20};
    made.extended.edition2.version = {3, 2};
    return made;
}

ModuleLists lists = makeLists();

} // namespace

EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list)
{
    *list = &lists.list;
    return lists.list.version.major != 0 ? CKR_OK : CKR_GENERAL_ERROR;
}

EXPORT CK_RV C_GetInterface(const char*, CK_VERSION*, CK_INTERFACE** found, CK_FLAGS)
{
    static CK_INTERFACE interface = {"PKCS 11", &lists.extended, 0};
    *found = &interface;
    return lists.extended.edition2.version.major != 0 ? CKR_OK : CKR_FUNCTION_FAILED;
}
