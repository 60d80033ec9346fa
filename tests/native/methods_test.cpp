// Every native method once and more, straight through the library's exports.

#include "native_calls.h"

namespace {

struct Row
{
    std::string expected;
    std::function<std::string()> call;
    std::string answer = "";
};

Ref types() { return newInts({CKA_CLASS, -1, CKA_TOKEN, CKA_LABEL, CKA_ID, CKA_MODULUS, CKA_START_DATE}); }

Ref values()
{
    Ref yes = make("java/lang/Boolean", {{"booleanValue:()Z", 1}});
    return newObjects(
        {integer(kNegative), {}, yes, newString("key"), newBytes("\1\2"), bigInteger({"\0\x80", 2}), date(0)});
}

std::string field(std::string text, std::size_t size)
{
    text.resize(size, ' ');
    return text;
}

// "encrypt" is C_Encrypt.
std::string cryptokiName(std::string method)
{
    method[0] = static_cast<char>(std::toupper(method[0]));
    return "C_" + method;
}

std::vector<Row> rowsOfEveryMethod()
{
    const std::string three = ulongBytes(1) + ulongBytes(2) + ulongBytes(0x80000003);
    const std::string versions = "\2\x14\3\1";
    std::string tokenInfo = field("label", 32) + field("maker", 32) + field("model", 16) + field("1", 16);
    for (unsigned long number : {0x40UL, 1UL, 2UL, 3UL, 4UL, 5UL, 6UL, 7UL, 8UL, 9UL, 10UL})
        tokenInfo += ulongBytes(number);
    const std::string attributes = entry(CKA_CLASS, ulongBytes(0x80000005)) + entry(CKA_TOKEN, "\1") +
                                   entry(CKA_LABEL, "key") + entry(CKA_ID, "\1\2") + entry(CKA_MODULUS, "\x80") +
                                   entry(CKA_START_DATE, "19700101");
    const std::string made = attributes + " -> NativePKCS11Object(@,0x11)";
    const std::string all = fetch(CKA_TOKEN, 1) + fetch(CKA_CLASS, sizeof(long)) + fetch(CKA_LABEL, 0) +
                            fetch(CKA_START_DATE, 8) + fetch(CKA_MODULUS, 0) + fetch(CKA_ID, 0);
    const std::string get = "C_GetAttributeValue S K", set = "C_SetAttributeValue S K";
    Ref none;

    std::vector<Row> rows = {
        // clang-format off
        {"C_GetInfo -> NativePKCS11Info(0x214,'maker',0x7,'two words\t',0x301,'KELVANE tokbridge %I% (Evaluation copy)')",
            CALL(LIBRARY(getInfo)()), versions.substr(0, 2) + field("maker", 32) + std::string(packed ? 0 : 6, 0) +
            ulongBytes(7) + field("two words\t", 32) + versions.substr(2)},
        {"C_GetSlotList 1 room=0; C_GetSlotList 1 room=3 -> {NativePKCS11Slot(@,0x1) NativePKCS11Slot(@,0x2)"
            " NativePKCS11Slot(@,0x80000003)}", CALL(LIBRARY(getSlotList)(JNI_TRUE)), three},
        {"C_WaitForSlotEvent 1 -> NativePKCS11Slot(@,0x11)", CALL(LIBRARY(waitForSlotEvent)(JNI_FALSE))},
        {"C_GetSlotInfo 5 -> PKCS11SlotInfo('slot','maker',0x7,0x214,0x301)", CALL(SLOT(getInfo)()),
            field("slot", 64) + field("maker", 32) + ulongBytes(7) + versions},
        {"C_GetTokenInfo 5 -> PKCS11TokenInfo('label','maker','model','1',0x40,0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,"
            "0xa,0x214,0x301,'2024022900000000')", CALL(SLOT(getTokenInfo)()), tokenInfo + versions + "2024022900000000"},
        {"C_GetMechanismList 5 room=0; C_GetMechanismList 5 room=4 -> {0x1 0x2 0x80000003}",
            CALL(SLOT(getMechanismList)()), three + ulongBytes(2)},
        {"C_GetMechanismInfo 5 80000005 -> PKCS11MechanismInfo(0x1,0x2,0x80000003)",
            CALL(SLOT(getMechanismInfo)(kNegative)), three},
        {"C_OpenSession 5 6 -> NativePKCS11Session(@,0x11)", CALL(SLOT(openSession)(6, none))},
        {"C_CloseAllSessions 5 -> ", CALL(SLOT(closeAllSessions)())},
        {"C_InitToken 5 '31' '" + field("name", 32) + "' -> ", CALL(SLOT(initToken)(newBytes("1"), newString("name")))},
        {"C_GetSessionInfo S -> PKCS11SessionInfo(0x2,0x80000003,0x4)", CALL(SESSION(getInfo)()), three + ulongBytes(4)},
        {"C_Login S 0 '3132' -> ", CALL(SESSION(login)(JNI_TRUE, newString("12")))},
        {"C_Login S 1 null -> ", CALL(SESSION(login)(JNI_FALSE, none))},
        {"C_Logout S -> ", CALL(SESSION(logout)())},
        {"C_InitPIN S '3132' -> ", CALL(SESSION(initPIN)(newBytes("12")))},
        {"C_SetPIN S '3132' '33' -> ", CALL(SESSION(setPIN)(newString("12"), newBytes("3")))},
        {"C_GetOperationState S room=0; C_GetOperationState S room=3 -> 616263", CALL(SESSION(getOperationState)()), "abc"},
        {"C_SetOperationState S '01' K 0 -> ", CALL(SESSION(setOperationState)(newBytes("\1"), key, none))},
        {"C_GetFunctionStatus S -> 1", CALL(SESSION(getFunctionStatus)())},
        {"C_CancelFunction S -> ", CALL(SESSION(cancelFunction)())},
        {"C_CloseSession S -> ", CALL(SESSION(close)())},
        {"C_DigestInit S {null} -> ", CALL(SESSION(digestInit)(CKM_SHA_1, none))},
        {"C_DigestKey S K -> ", CALL(SESSION(digestKey)(key))},
        {"C_Verify S '01' '02' -> 1", CALL(SESSION(verify)(newBytes("\1"), 0, 1, newBytes("\1\2"), 1, 1))},
        {"C_VerifyFinal S '02' -> 1", CALL(SESSION(verifyFinal)(newBytes("\1\2"), 1, 1))},
        {"C_EncryptInit S {null} K; C_Encrypt S '01' room=3 -> 2 out=00616200",
            CALL(SESSION(encryptDoFinalGCM)(CKM_DES3_ECB, none, key, newBytes("\1"), 0, 1, out, 1)), "ab"},
        {"C_DecryptInit S {null} K; C_Decrypt S '01' room=3 -> 2 out=00616200",
            CALL(SESSION(decryptDoFinalGCM)(CKM_DES3_ECB, none, key, newBytes("\1"), 0, 1, out, 1)), "ab"},
        {"C_CreateObject S" + made, CALL(SESSION(createObject)(types(), values()))},
        {"C_CreateObject S null -> NativePKCS11Object(@,0x11)", CALL(SESSION(createObject)(none, none))},
        {"C_CopyObject S K" + made, CALL(SESSION(copy)(key, types(), values()))},
        {"C_CopyObject S K" + made, CALL(OBJECT(copy)(types(), values()))},
        {"C_DestroyObject S K -> ", CALL(SESSION(destroyObject)(key))},
        {"C_DestroyObject S K -> ", CALL(OBJECT(destroy)())},
        {"C_GetObjectSize S K -> 17", CALL(OBJECT(size)())},
        {"C_FindObjectsInit S" + attributes + " -> ", CALL(SESSION(findObjectsInit)(types(), values()))},
        {"C_FindObjects S 1 -> NativePKCS11Object(@,0x11)", CALL(SESSION(findObject)())},
        {"C_FindObjectsFinal S -> ", CALL(SESSION(findObjectsFinal)())},
        {set + attributes + " -> ", CALL(OBJECT(setAttributeValues)(types(), values()))},
        {set + entry(CKA_LABEL, "key") + " -> ", CALL(OBJECT(setAttributeValue)(CKA_LABEL, newString("key")))},
        {set + entry(CKA_SENSITIVE, "\1") + " -> ", CALL(OBJECT(setBoolAttributeValue)(CKA_SENSITIVE, JNI_TRUE))},
        {set + entry(CKA_VALUE_LEN, ulongBytes(0x80000005)) + " -> ",
            CALL(OBJECT(setIntAttributeValue)(CKA_VALUE_LEN, kNegative))},
        {get + all + "; " + get + fetch(CKA_LABEL, 4) + "; " + get + fetch(CKA_MODULUS, 2) + "; " + get +
            fetch(CKA_ID, 2) + " -> {Boolean(0x1) Integer(0x80000005) 'key ' Date(1709164800000) BigInteger(0x1,ff01) 0102}"
            " pins=1", // the types stay pinned
            CALL(SESSION(getAttributeValues)(
                key, newInts({CKA_TOKEN, CKA_CLASS, CKA_LABEL, CKA_START_DATE, CKA_MODULUS, CKA_ID}), 6))},
        {"C_GenerateKey S {null}" + made, CALL(SESSION(generateKey)(CKM_DES_KEY_GEN, none, types(), values()))},
        {"C_GenerateKeyPair S {null} null" + attributes + " -> {NativePKCS11Object(@,0x11) NativePKCS11Object(@,0x12)}",
            CALL(SESSION(generateKeyPair)(CKM_DSA_KEY_PAIR_GEN, none, none, none, types(), values()))},
        {"C_WrapKey S {null} K K room=3 -> 2 out=00616200", CALL(SESSION(wrapKey)(CKM_DES_ECB, none, key, key, out, 1)), "ab"},
        {"C_UnwrapKey S {null} K '02'" + made,
            CALL(SESSION(unwrapKey)(CKM_DES_ECB, none, key, newBytes("\1\2"), 1, 1, types(), values()))},
        {"C_DeriveKey S {null} K" + made,
            CALL(SESSION(deriveKey)(CKM_SHA1_KEY_DERIVATION, none, key, types(), values()))},
        // clang-format on
    };

    for (const auto& method : {SESSION(encryptInit), SESSION(decryptInit), SESSION(signInit), SESSION(signRecoverInit),
                               SESSION(verifyInit), SESSION(verifyRecoverInit)})
        rows.push_back(
            {cryptokiName(method.name) + " S {'0102'} K -> ", CALL(method(CKM_AES_CBC, newBytes("\1\2"), key))});
    for (const auto& method : {SESSION(generateRandom), SESSION(seedRandom), SESSION(digestUpdate), SESSION(signUpdate),
                               SESSION(verifyUpdate)})
        rows.push_back({cryptokiName(method.name) + " S '0203' -> ", CALL(method(newBytes("\1\2\3"), 1, 2))});
    for (const auto& method : {SESSION(encryptFinal), SESSION(decryptFinal), SESSION(digestFinal), SESSION(signFinal)})
        rows.push_back({cryptokiName(method.name) + " S room=3 -> 2 out=00616200", CALL(method(out, 1)), "ab"});

    // Too little room: encryption and decryption answer the size that is needed, others end in an exception.
    auto inOut = [&rows](const std::string& tooLittle, const auto& methods) {
        for (const auto& method : methods) {
            std::string call = cryptokiName(method.name) + " S '0203' room=3 -> ";
            rows.push_back({call + "2 out=00616200", CALL(method(newBytes("\1\2\3"), 1, 2, out, 1)), "ab"});
            rows.push_back({call + tooLittle, CALL(method(newBytes("\1\2\3"), 1, 2, out, 1)), "abcde"});
        }
    };
    inOut("5", std::array{SESSION(encrypt), SESSION(encryptUpdate), SESSION(decrypt), SESSION(decryptUpdate)});
    inOut("0 " + raised(CKR_BUFFER_TOO_SMALL),
          std::array{SESSION(digest), SESSION(sign), SESSION(signRecover), SESSION(verifyRecover),
                     SESSION(digestEncryptUpdate), SESSION(decryptDigestUpdate), SESSION(signEncryptUpdate),
                     SESSION(decryptVerifyUpdate)});

    // Each value by the method of its kind, from the object itself and through a session.
    auto read = [&rows, &get](jint type, const std::string& rooms, auto ofObject, auto ofSession) {
        rows.push_back({get + rooms, CALL(ofObject(type))});
        rows.push_back({get + rooms, CALL(ofSession(key, type))});
    };
    auto sized = [&get](unsigned long type, std::size_t room) {
        return fetch(type, 0) + "; " + get + fetch(type, room);
    };
#define BOTH(name) OBJECT(name), SESSION(name)
    read(CKA_TOKEN, fetch(CKA_TOKEN, 1) + " -> 1", BOTH(getBoolAttributeValue));
    read(CKA_CLASS, fetch(CKA_CLASS, sizeof(long)) + " -> -2147483643", BOTH(getIntAttributeValue));
    read(CKA_LABEL, sized(CKA_LABEL, 4) + " -> 'key '", BOTH(getStringAttributeValue));
    read(CKA_ID, sized(CKA_ID, 2) + " -> 0102", BOTH(getByteArrayAttributeValue));
    read(CKA_START_DATE, fetch(CKA_START_DATE, 8) + " -> Date(1709164800000)", BOTH(getDateAttributeValue));
    read(CKA_MODULUS, sized(CKA_MODULUS, 2) + " -> BigInteger(0x1,ff01)", BOTH(getBigIntegerAttributeValue));
    read(CKA_CLASS, fetch(CKA_CLASS, sizeof(long)) + " -> Integer(0x80000005)", BOTH(getAttributeValue));
    return rows;
}

std::string firstCall(const std::string& expected)
{
    return expected.substr(0, std::min(expected.find("; "), expected.find(" -> ")));
}

} // namespace

// Every row as it stands, and with each of its JNI calls failing; then with a module that cannot lock, every call of
// which must be made holding the monitor, and that wipes what it was given; then with one that refuses everything,
// after which it is asked for nothing more, whatever it has written. What is left behind is told by each outcome.
void testEveryMethod()
{
    token.attributes = {{CKA_TOKEN, "\1"}, {CKA_CLASS, ulongBytes(0x80000005)}, {CKA_LABEL, "key "},
                        {CKA_ID, "\1\2"},  {CKA_START_DATE, "20240229"},        {CKA_MODULUS, "\xFF\1"}};
    for (bool canLock : {true, false}) {
        token.canLock = canLock;
        token.spoils = !canLock;
        token.monitor = 1;
        checkCall(std::string("C_Initialize flags=2") + (canLock ? "" : "; C_Initialize null") + " -> ",
                  LIBRARY(libInitialize));
        token.monitor = canLock ? 0 : 1;
        for (unsigned long rv : {CKR_OK, CKR_DEVICE_ERROR}) {
            for (const Row& row : rowsOfEveryMethod()) {
                token.rv = rv;
                token.answer = row.answer;
                fake.failsWithError = !fake.failsWithError;
                checkFailures(row.call, row.expected.find("pins=1") != std::string::npos ? " pins=1" : "");
                std::string found = outcome(row.call);
                bool pinned = row.expected.find("pins=1") != std::string::npos;
                bool asExpected = rv == CKR_OK ? found == row.expected
                                               : found.find(firstCall(row.expected) + " -> ") == 0 &&
                                                     found.find(raised(CKR_DEVICE_ERROR)) != std::string::npos &&
                                                     (pinned || found.find("pins=") == std::string::npos);
                check(row.expected, asExpected ? row.expected : found);
            }
            token.rv = CKR_OK;
        }
        token.monitor = 1;
        checkCall("C_Finalize -> ", LIBRARY(libFinalize));
        checkCall(" ->  PKCS11Exception('functionList is null')", CALL(SESSION(logout)()));
        load();
    }
}

// A lock that cannot be had keeps no call from being made, and its error is what Java sees: what the call has created
// is destroyed, what it has ended stays ended, and nothing is called twice.
void testFailedLock()
{
    const std::string error = " {}", destroy = "C_DestroyObject S 11";
    token.canLock = false;
    LIBRARY(libInitialize)();
    Ref oaep = parameter("CK_RSA_PKCS_OAEP_PARAMS", "hashAlg=544 mgf=1 source=1 ulSourceDataLen=0"), none;
    oaep.object->fields["pSourceData:[B"] = 0;

    fake.missingClass = "com/kelvane/pkcs11/nat/NativePKCS11";
    token.monitor = 0;
    checkCall("C_OpenSession 5 6; C_CloseSession 11 -> null" + error, CALL(SLOT(openSession)(6, nullptr)));
    for (const auto& [created, call] : std::initializer_list<std::pair<std::string, std::function<std::string()>>>{
             {"C_CreateObject S null", CALL(SESSION(createObject)(none, none))},
             {"C_CopyObject S K null", CALL(OBJECT(copy)(none, none))},
             {"C_GenerateKey S {null} null", CALL(SESSION(generateKey)(CKM_DES_KEY_GEN, none, none, none))},
             {"C_DeriveKey S {null} K null", CALL(SESSION(deriveKey)(CKM_SHA1_KEY_DERIVATION, none, key, none, none))},
             {"C_UnwrapKey S {null} K '01' null",
              CALL(SESSION(unwrapKey)(CKM_DES_ECB, none, key, newBytes("\1"), 0, 1, none, none))}})
        checkCall(created + "; " + destroy + " -> null" + error, call);
    checkCall("C_GenerateKeyPair S {null} null null; " + destroy + "; C_DestroyObject S 12 -> null" + error,
              CALL(SESSION(generateKeyPair)(CKM_DSA_KEY_PAIR_GEN, none, none, none, none, none)));
    checkCall("C_CloseSession S -> " + error, CALL(SESSION(close)()));
    fake.missingClass.clear();

    token.rv = CKR_MECHANISM_PARAM_INVALID;
    for (bool lockFails : {false, true}) {
        fake.missingClass = lockFails ? "com/kelvane/pkcs11/nat/NativePKCS11" : "";
        token.monitor = lockFails ? 0 : 1;
        std::string found = outcome(CALL(SESSION(encryptInit)(CKM_RSA_PKCS_OAEP, oaep, key)));
        check(lockFails ? "asked once" : "asked twice",
              found.find("; C_EncryptInit") == std::string::npos ? "asked once" : "asked twice");
    }
    token.rv = CKR_OK;
    fake.missingClass.clear();
    token.monitor = 1;
    LIBRARY(libFinalize)();
    load();
}
