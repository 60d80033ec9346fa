#include "bridge/module_load.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "bridge/buffers.h"
#include "bridge/diagnostics.h"
#include "bridge/exception.h"
#include "bridge/platform.h"

namespace {

// Holds a path of 255 bytes and its terminator; a message quotes a path whole.
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

    // A path of exactly the buffer's size leaves no room for the terminator: the process stops here, on purpose.
    if (size == buffer->size())
        std::abort();
    (*buffer)[size] = 0;
    return true;
}

} // namespace

CK_FUNCTION_LIST_PTR loadModule(JNIEnv* env, jstring path)
{
    PathBuffer buffer;
    if (!readPath(env, path, &buffer))
        return nullptr;

    FloatingPointKeeper keeper;
    MessageBuffer message;
    void* module = openModule(buffer.data());
    if (module == nullptr) {
        std::array<char, 512> reason;
        moduleError(reason.data(), reason.size());
        if (debugEnabled()) {
            debugPrint("tokbridge:  %s\n", reason.data());
            debugFlush();
        }
        std::snprintf(message.data(), message.size(), "LoadLibrary(\"%s\") failed", buffer.data());
        throwPKCS11Exception(env, 0, message.data());
        return nullptr;
    }

    auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(findModuleSymbol(module, "C_GetFunctionList"));
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
