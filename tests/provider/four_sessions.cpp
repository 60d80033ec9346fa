// A module that passes every call on to the one that FOUR_SESSIONS_OF names, whose token then allows four sessions.

#include "bridge/cryptoki.h"

#include <atomic>
#include <cstdlib>
#include <dlfcn.h>

namespace {

constexpr CK_ULONG kMost = 4;

CK_FUNCTION_LIST* next;
std::atomic<CK_ULONG> sessions;

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info)
{
    const CK_RV rv = next->C_GetTokenInfo(slot, info);
    info->ulMaxSessionCount = kMost;
    return rv;
}

CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify, CK_SESSION_HANDLE* session)
{
    const CK_RV rv =
        sessions++ < kMost ? next->C_OpenSession(slot, flags, application, notify, session) : CKR_SESSION_COUNT;
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
    void* module = dlopen(std::getenv("FOUR_SESSIONS_OF"), RTLD_NOW);
    auto* getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(dlsym(module, "C_GetFunctionList"));
    if (CK_RV rv = getFunctionList(&next); rv != CKR_OK)
        return rv;
    static CK_FUNCTION_LIST list;
    list = *next;
    list.C_GetTokenInfo = getTokenInfo;
    list.C_OpenSession = openSession;
    list.C_CloseSession = closeSession;
    *to = &list;
    return CKR_OK;
}
