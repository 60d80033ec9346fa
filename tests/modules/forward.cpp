// A module that hands every call on to the one that FORWARD_TO names, but for three things: C_Initialize gets the text
// of FORWARD_RESERVED as its pReserved, which is where some modules want their configuration; with FORWARD_DIES the
// process ends when a key pair is to be generated, as a module's own fault would end it; and with FORWARD_SESSIONS the
// token allows so many sessions.

#include "bridge/cryptoki.h"

#include <atomic>
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

CK_ULONG limit;
std::atomic<CK_ULONG> sessions;

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info)
{
    const CK_RV rv = next->C_GetTokenInfo(slot, info);
    info->ulMaxSessionCount = limit;
    return rv;
}

CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify, CK_SESSION_HANDLE* session)
{
    const CK_RV rv =
        sessions++ < limit ? next->C_OpenSession(slot, flags, application, notify, session) : CKR_SESSION_COUNT;
    sessions -= rv == CKR_OK ? 0 : 1;
    return rv;
}

CK_RV closeSession(CK_SESSION_HANDLE session)
{
    const CK_RV rv = next->C_CloseSession(session);
    sessions -= rv == CKR_OK ? 1 : 0;
    return rv;
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
    if (const char* count = std::getenv("FORWARD_SESSIONS"); count != nullptr) {
        limit = std::strtoul(count, nullptr, 10);
        list.C_GetTokenInfo = getTokenInfo;
        list.C_OpenSession = openSession;
        list.C_CloseSession = closeSession;
    }
    *to = &list;
    return CKR_OK;
}
