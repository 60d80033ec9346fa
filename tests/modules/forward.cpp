// A module that hands every call on to the one that FORWARD_TO names, but for two things: C_Initialize gets the text of
// FORWARD_RESERVED as its pReserved, which is where some modules want their configuration; and with FORWARD_DIES the
// process ends when a key pair is to be generated, as a module's own fault would end it.

#include "bridge/cryptoki.h"

#include <cstdlib>
#include <dlfcn.h>

namespace {

CK_FUNCTION_LIST list;
CK_FUNCTION_LIST* next;

CK_RV initialize(void* arguments)
{
    CK_C_INITIALIZE_ARGS given = {};
    if (arguments != nullptr)
        given = *static_cast<CK_C_INITIALIZE_ARGS*>(arguments);
    given.pReserved = std::getenv("FORWARD_RESERVED");
    return next->C_Initialize(&given);
}

CK_RV die(CK_SESSION_HANDLE, CK_MECHANISM*, CK_ATTRIBUTE*, CK_ULONG, CK_ATTRIBUTE*, CK_ULONG, CK_OBJECT_HANDLE*,
          CK_OBJECT_HANDLE*)
{
    std::abort();
}

} // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** to)
{
    const char* path = std::getenv("FORWARD_TO");
    void* module = path != nullptr ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* symbol = module != nullptr ? dlsym(module, "C_GetFunctionList") : nullptr;
    if (symbol == nullptr || reinterpret_cast<decltype(&C_GetFunctionList)>(symbol)(&next) != CKR_OK)
        return CKR_GENERAL_ERROR;
    list = *next;
    list.C_Initialize = initialize;
    if (std::getenv("FORWARD_DIES") != nullptr)
        list.C_GenerateKeyPair = die;
    *to = &list;
    return CKR_OK;
}
