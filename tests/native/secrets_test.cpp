// Secrets do not remain in freed memory.

#include "native_calls.h"

namespace {

// Calls with some stack in between, which later calls do not overwrite.
__attribute__((noinline)) std::string callBelow(const std::function<std::string()>& call)
{
    volatile char between[16 * 1024];
    between[0] = 0;
    return call() + std::string(static_cast<std::size_t>(between[0]), ' ');
}

// Whether a recognisable part of it is there.
__attribute__((noinline, no_sanitize("address"))) bool isOnStackBelow(const std::string& secret)
{
    constexpr std::size_t part = 12;
    const char* frame = static_cast<const char*>(__builtin_frame_address(0));
    for (const char* place = frame - 65536; place < frame - 16384; ++place)
        for (std::size_t from = 0; from + part <= secret.size(); ++from) {
            std::size_t equal = 0;
            while (equal < part && place[equal] == secret[from + equal])
                ++equal;
            if (equal == part)
                return true;
        }
    return false;
}

} // namespace

// A PIN, a key's value, a password, a plaintext: after the call it is neither in a copy that was freed nor
// on the stack.
void testSecrets()
{
    const std::string secret = "S3cret-PIN-or-key-of-40-bytes-and-longer";
    fake.secret = secret;
    Ref array = newBytes(secret), string = newString(secret), none;
    Ref state = newBytes(std::string(200, '.') + secret), within = newBytes("abc" + secret + "def");
    auto templateOf = [&array] { return newObjects({array}); };
    Ref password = make(
        "com/kelvane/pkcs11/PKCS11MechPar_PBE",
        {{"password:[B", address(array)}, {"salt:[B", bytes("s")}, {"iterations:I", 1}, {"iv:[B", bytes("12345678")}});
    const std::function<std::string()> calls[] = {
        CALL(SESSION(login), JNI_FALSE, array),
        CALL(SESSION(login), JNI_TRUE, string),
        CALL(SESSION(initPIN), array),
        CALL(SESSION(setPIN), string, array),
        CALL(SESSION(setPIN), array, newBytes(std::string(51, 'x'))), // refused with the first copied
        CALL(SLOT(initToken), string, newString("label")),
        CALL(SESSION(createObject), newInts({CKA_VALUE}), templateOf()),
        CALL(SESSION(createObject), newInts({CKA_LABEL}), newObjects({string})),
        CALL(SESSION(createObject), newInts({CKA_PRIVATE_EXPONENT}), newObjects({bigInteger(secret)})),
        CALL(SESSION(findObjectsInit), newInts({CKA_VALUE}), templateOf()),
        CALL(OBJECT(setAttributeValue), CKA_VALUE, array),
        CALL(SESSION(unwrapKey), CKM_DES_ECB, none, key, newBytes("1"), 0, 1, newInts({CKA_VALUE}), templateOf()),
        CALL(SESSION(generateKey), CKM_PBE_SHA1_DES3_EDE_CBC, password, none, none),
        CALL(SESSION(encrypt), array, 0, 40, out, 0),
        CALL(SESSION(encrypt), within, 3, 40, out, 1),
        CALL(SESSION(encrypt), within, 3, 40, none, 0), // refused with the input pinned
        CALL(SESSION(seedRandom), array, 0, 40),
        CALL(SESSION(digestUpdate), within, 40, 3), // of what is pinned all is wiped
        CALL(SESSION(setOperationState), state, none, none),
    };
    for (const auto& call : calls) {
        outcome([&call] { return callBelow(call); });
        check("", fake.complaints);
        check("not on the stack", isOnStackBelow(secret) ? "on the stack" : "not on the stack");
    }
    fake.secret.clear();
}
