#include "bridge/module_load.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "bridge/buffers.h"
#include "bridge/diagnostics.h"
#include "bridge/exception.h"
#include "bridge/platform.h"

namespace {

// For a path of 255 bytes and its terminator; messages quote the whole path.
using PathBuffer = std::array<char, 256>;
using MessageBuffer = std::array<char, PathBuffer{}.size() + 32>;

// Copies the path into the buffer. False after raising.
bool readPath(JNIEnv* env, jstring path, PathBuffer* buffer)
{
    if (path == nullptr)
        return refuse(env, "GetStringUTFChars() failed");
    CK_ULONG size = PathBuffer{}.size();
    if (!copyString(env, path, reinterpret_cast<unsigned char*>(buffer->data()), &size,
                    "copyStringBytes(): buffer too small for string!"))
        return false;

    // A path of exactly the buffer's size leaves no byte for the terminator: the process stops here, on purpose.
    if (size == buffer->size())
        std::abort();
    (*buffer)[size] = 0;
    return true;
}

// The list of edition 3 beside that of version 2. Some modules return another list than the requested version's; the
// version in the list decides.
CK_FUNCTION_LIST_3_2* findExtended(void* module)
{
    auto getInterface = reinterpret_cast<CK_C_GetInterface>(findModuleSymbol(module, "C_GetInterface"));
    if (getInterface == nullptr)
        return nullptr;
    CK_VERSION versions[] = {{3, 2}, {3, 1}, {3, 0}};
    CK_VERSION* const wanted[] = {&versions[0], &versions[1], &versions[2], nullptr};
    for (CK_VERSION* version : wanted) {
        CK_INTERFACE* found = nullptr;
        if (getInterface("PKCS 11", version, &found, 0) != CKR_OK || found == nullptr)
            continue;
        auto* list = static_cast<CK_FUNCTION_LIST_3_2*>(found->pFunctionList);
        if (list != nullptr && list->edition2.version.major == 3)
            return list;
    }
    return nullptr;
}

CK_FUNCTION_LIST_PTR loadList(JNIEnv* env, const PathBuffer& path, void** module)
{
    MessageBuffer message;
    *module = openModule(path.data());
    if (*module == nullptr) {
        std::array<char, 512> reason;
        moduleError(reason.data(), reason.size());
        if (debugEnabled()) {
            debugPrint("tokbridge:  %s\n", reason.data());
            debugFlush();
        }
        std::snprintf(message.data(), message.size(), "LoadLibrary(\"%s\") failed", path.data());
        throwPKCS11Exception(env, 0, message.data());
        return nullptr;
    }

    auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(findModuleSymbol(*module, "C_GetFunctionList"));
    if (getFunctionList == nullptr) {
        throwPKCS11Exception(env, 0, "GetProcAddress(\"C_GetFunctionList\") failed");
        return nullptr;
    }

    CK_FUNCTION_LIST_PTR list = nullptr;
    if (getFunctionList(&list) != CKR_OK || list == nullptr) {
        throwPKCS11Exception(env, 0, "C_GetFunctionList() failed");
        return nullptr;
    }

    if (list->version.major != 2) {
        std::snprintf(message.data(), message.size(), "wrong Cryptoki version (%d.%02d)", list->version.major,
                      list->version.minor);
        throwPKCS11Exception(env, 0, message.data());
        return nullptr;
    }
    return list;
}

} // namespace

ModuleFunctions loadModule(JNIEnv* env, jstring path)
{
    PathBuffer buffer;
    if (!readPath(env, path, &buffer))
        return {};

    FloatingPointKeeper keeper;
    void* module = nullptr;
    CK_FUNCTION_LIST_PTR list = loadList(env, buffer, &module);
    return {list, list != nullptr ? findExtended(module) : nullptr};
}
