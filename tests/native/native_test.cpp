// Every native method once and more, straight through the library's exports: no JVM, a stub module. What the module
// must see is written down in numbers, for the layout of a Unix build and for the packed one of Windows. The program
// runs on both systems. Its one argument is the file of the stub module.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

#ifdef _WIN32
#include <windows.h>
#endif

#include "cryptoki.h" // for the names of numbers alone

#include "check.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"
#include "fake_jni.h"
#include "stub_token.h"

namespace {

std::set<std::string> methodsCalled;

Ref library, slot, session, key; // S and K stand for the handles of the last two in what is expected
Ref out;                         // the output array of the current call

template <typename T>
std::string text(T value)
{
    if constexpr (std::is_pointer_v<T>)
        return show({reinterpret_cast<Object*>(value)});
    else
        return std::to_string(value);
}

// A native method of a receiver. Called with Java's arguments it returns the result as text.
template <typename Result, typename... Parameters>
struct Method
{
    std::string name;
    const Ref* self;
    Result (*function)(JNIEnv*, jobject, Parameters...);

    std::string operator()(Parameters... arguments) const
    {
        methodsCalled.insert(self->object->type + "." + name);
        if constexpr (!std::is_void_v<Result>)
            return text(function(env, *self, arguments...));
        else
            function(env, *self, arguments...);
        return "";
    }
};

template <typename Result, typename... Parameters>
Method(const char*, const Ref*, Result (*)(JNIEnv*, jobject, Parameters...)) -> Method<Result, Parameters...>;

// clang-format off
#define METHOD(self, type, name) Method{#name, &self, Java_com_kelvane_pkcs11_nat_NativePKCS11##type##name}
#define LIBRARY(name) METHOD(library, _, name)
#define SLOT(name) METHOD(slot, Slot_, name)
#define SESSION(name) METHOD(session, Session_, name)
#define OBJECT(name) METHOD(key, Object_, name)
#define CALL(...) [=] { return __VA_ARGS__; }
// clang-format on

void replace(std::string* in, const std::string& what, const std::string& with)
{
    for (std::size_t at = 0; (at = in->find(what, at)) != std::string::npos; at += with.size())
        in->replace(at, what.size(), with);
}

// Makes a call and tells all that came of it: "the module's calls -> result exception, output, what was left behind".
std::string outcome(const std::function<std::string()>& call)
{
    token.log.clear();
    token.handle = 0x11;
    fake.pins = 0;
    fake.complaints.clear();
    out = newBytes(std::string(4, 0));

    std::string result = call();
    std::string told = token.log + " -> " + result;
    if (Object* raised = std::exchange(fake.pending, nullptr))
        told += " " + show({raised});
    if (std::any_of(out.object->bytes.begin(), out.object->bytes.end(), [](char c) { return c != 0; }))
        told += " out=" + show(out);
    if (fake.pins != 0 || fake.monitor != 0)
        told += " pins=" + std::to_string(fake.pins) + " monitor=" + std::to_string(fake.monitor);
    told += fake.complaints;
    replace(&told, "80000007", "S");
    replace(&told, "80000009", "K");
    return told;
}

void checkCall(const std::string& expected, const std::function<std::string()>& call)
{
    check(expected, outcome(call));
}

// ---- Java values ----

int64_t bytes(std::string_view value) { return address(newBytes(value)); }
Ref integer(jint value) { return make("java/lang/Integer", {{"intValue:()I", value}}); }
Ref date(int64_t milliseconds) { return make("java/util/Date", {{"getTime:()J", milliseconds}}); }

Ref bigInteger(std::string_view twosComplement)
{
    auto bits = static_cast<int64_t>(8 * twosComplement.size() - 1);
    return make("java/math/BigInteger", {{"bitLength:()I", bits}, {"toByteArray:()[B", bytes(twosComplement)}});
}

// A parameter object with fields like "bits=40 major=b3 phFlag=z1 iv='text'": an int, a byte, a boolean, a byte[].
Ref parameter(const std::string& name, const std::string& fields)
{
    Ref made = make("com/kelvane/pkcs11/" + name, {});
    std::istringstream words(fields);
    for (std::string word; words >> word;) {
        std::size_t at = word.find('=');
        std::string field = word.substr(0, at);
        std::string value = word.substr(at + 1);
        if (value[0] == '\'')
            made.object->fields[field + ":[B"] = bytes(value.substr(1, value.size() - 2));
        else if (value[0] == 'b' || value[0] == 'z')
            made.object->fields[field + (value[0] == 'b' ? ":B" : ":Z")] = std::stoi(value.substr(1));
        else
            made.object->fields[field + ":I"] = std::stoi(value);
    }
    return made;
}

// The object with one more field, which holds another.
Ref with(Ref object, const std::string& field, Ref member)
{
    const std::string& type = member.object->type;
    object.object->fields[field + ":" + (type[0] == '[' ? type : "L" + type + ";")] = address(member);
    return object;
}

constexpr jint kNegative = -0x7FFFFFFB; // 0x80000005: never extended by its sign

void makeReceivers(int64_t list)
{
    library = make("com/kelvane/pkcs11/nat/NativePKCS11", {{"functionList:J", list}});
    slot = with(parameter("nat/NativePKCS11Slot", "slotID=5"), "pkcs11", library);
    session = with(parameter("nat/NativePKCS11Session", "sessionID=-2147483641"), "slot", slot); // 0x80000007
    key = with(parameter("nat/NativePKCS11Object", "objectID=-2147483639"), "session", session); // 0x80000009
}

std::string modulePath; // modified UTF-8

void load()
{
    int64_t list = 0;
    check(" -> ", outcome([&list] {
              list = Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(env, nullptr, newString(modulePath));
              return "";
          }));
    if (list == 0)
        std::exit(1);
    fillFunctionList(list);
    makeReceivers(list);
}

// ---- Every method ----

struct Row
{
    std::string expected;
    std::function<std::string()> call;
    std::string answer = "";
};

std::string hexadecimal(unsigned long number)
{
    std::array<char, 20> digits;
    std::snprintf(digits.data(), digits.size(), "%lx", number);
    return digits.data();
}

// An entry of a template as the module sees it.
std::string entry(unsigned long type, const std::string& value)
{
    return " " + hexadecimal(type) + "='" + hex(value) + "'";
}

// An entry of a C_GetAttributeValue as the module sees it: the room that it offers.
std::string fetch(unsigned long type, std::size_t room)
{
    return " " + hexadecimal(type) + "/" + hexadecimal(static_cast<unsigned long>(room));
}

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
        {"C_GetInfo -> NativePKCS11Info(0x214,'maker',0x7,'words',0x301,'KELVANE tokbridge %I% (Evaluation copy)')",
            CALL(LIBRARY(getInfo)()), versions.substr(0, 2) + field("maker", 32) + std::string(packed ? 0 : 6, 0) +
            ulongBytes(7) + field("words", 32) + versions.substr(2)},
        {"C_GetSlotList 1 room=0; C_GetSlotList 1 room=3 -> {NativePKCS11Slot(@,0x1) NativePKCS11Slot(@,0x2)"
            " NativePKCS11Slot(@,0x80000003)}", CALL(LIBRARY(getSlotList)(JNI_TRUE)), three},
        {"C_WaitForSlotEvent 1 -> NativePKCS11Slot(@,0x11)", CALL(LIBRARY(waitForSlotEvent)(JNI_FALSE))},
        {"C_GetSlotInfo 5 -> PKCS11SlotInfo('slot','maker',0x7,0x214,0x301)", CALL(SLOT(getInfo)()),
            field("slot", 64) + field("maker", 32) + ulongBytes(7) + versions},
        {"C_GetTokenInfo 5 -> PKCS11TokenInfo('label','maker','model','1',0x40,0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,"
            "0xa,0x214,0x301,'2024022900000000')", CALL(SLOT(getTokenInfo)()), tokenInfo + versions + "2024022900000000"},
        {"C_GetMechanismList 5 room=0; C_GetMechanismList 5 room=4 -> 010000000200000003000080",
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
            " pins=1 monitor=0", // the types stay pinned
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
    inOut("0 PKCS11Exception(0x150)",
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

// Every row as it stands; then with a module that cannot lock, every call of which must be made holding the monitor;
// then with one that refuses everything. What is left behind is told by each outcome.
void testEveryMethod()
{
    token.attributes = {{CKA_TOKEN, "\1"}, {CKA_CLASS, ulongBytes(0x80000005)}, {CKA_LABEL, "key "},
                        {CKA_ID, "\1\2"},  {CKA_START_DATE, "20240229"},        {CKA_MODULUS, "\xFF\1"}};
    for (bool canLock : {true, false}) {
        token.canLock = canLock;
        token.monitor = 1;
        checkCall(std::string("C_Initialize flags=2") + (canLock ? "" : "; C_Initialize null") + " -> ",
                  LIBRARY(libInitialize));
        token.monitor = canLock ? 0 : 1;
        for (unsigned long rv : {CKR_OK, CKR_DEVICE_ERROR}) {
            for (const Row& row : rowsOfEveryMethod()) {
                token.rv = rv;
                token.answer = row.answer;
                std::string found = outcome(row.call);
                bool asExpected = rv == CKR_OK ? found == row.expected
                                               : found.find("PKCS11Exception(0x30)") != std::string::npos &&
                                                     (found.find("pins=") == std::string::npos ||
                                                      row.expected.find("pins=1") != std::string::npos);
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

// A lock that cannot be had keeps no call from being made, and its error is what Java sees: what the call has made is
// ended again, what it has ended stays ended, and nothing is asked twice. The handle of each is one that gets a number.
void testFailedLock()
{
    const std::string error = " {}", close = "C_CloseSession 58000010", destroy = "C_DestroyObject S 58000010";
    token.canLock = false;
    LIBRARY(libInitialize)();
    Ref oaep = parameter("CK_RSA_PKCS_OAEP_PARAMS", "hashAlg=544 mgf=1 source=1 ulSourceDataLen=0"), none;
    oaep.object->fields["pSourceData:[B"] = 0;
    auto handingOut = [](const std::function<std::string()>& call, unsigned long handle = 0x58000010) {
        return [handle, call] {
            token.handle = handle;
            return call();
        };
    };
    std::string opened = outcome(handingOut(CALL(SLOT(openSession)(6, nullptr)), 0x58000020));
    auto number = static_cast<jint>(std::stoul(opened.substr(opened.rfind(",0x") + 1), nullptr, 16));

    fake.missingClass = "com/kelvane/pkcs11/nat/NativePKCS11";
    token.monitor = 0;
    checkCall("C_OpenSession 5 6; " + close + " -> null" + error, handingOut(CALL(SLOT(openSession)(6, nullptr))));
    for (const auto& [made, call] : std::initializer_list<std::pair<std::string, std::function<std::string()>>>{
             {"C_CreateObject S null", CALL(SESSION(createObject)(none, none))},
             {"C_CopyObject S K null", CALL(OBJECT(copy)(none, none))},
             {"C_GenerateKey S {null} null", CALL(SESSION(generateKey)(CKM_DES_KEY_GEN, none, none, none))},
             {"C_DeriveKey S {null} K null", CALL(SESSION(deriveKey)(CKM_SHA1_KEY_DERIVATION, none, key, none, none))},
             {"C_UnwrapKey S {null} K '01' null",
              CALL(SESSION(unwrapKey)(CKM_DES_ECB, none, key, newBytes("\1"), 0, 1, none, none))}})
        checkCall(made + "; " + destroy + " -> null" + error, handingOut(call));
    checkCall("C_GenerateKeyPair S {null} null null; " + destroy + "; C_DestroyObject S 58000011 -> null" + error,
              handingOut(CALL(SESSION(generateKeyPair)(CKM_DSA_KEY_PAIR_GEN, none, none, none, none, none))));

    const int64_t before = std::exchange(session.object->fields["sessionID:I"], number);
    checkCall("C_CloseSession 58000020 -> " + error, CALL(SESSION(close)()));
    fake.missingClass.clear();
    checkCall(" ->  PKCS11Exception(0xb3)", CALL(SESSION(close)()));
    session.object->fields["sessionID:I"] = before;

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

// ---- Parameters of mechanisms ----

struct Parameter
{
    jint mechanism;
    Ref value;
    std::string onWindows; // the length, then the structure and what it points to
    std::string onUnix;
};

// clang-format off
Ref version() { return parameter("CK_VERSION", "major=b3 minor=b1"); }
Ref random() { return parameter("CK_SSL3_RANDOM_DATA", "clientRandom='abc' serverRandom='defgh'"); }
Ref prf(Ref output) { return with(parameter("CK_TLS_PRF_PARAMS", "seed='abc' label='defgh'"), "output", output); }
Ref pbe(Ref iv) { return with(parameter("PKCS11MechPar_PBE", "password='abcde' salt='salt' iterations=1000"), "iv", iv); }
// clang-format on

Ref masterKeyDerive(Ref version)
{
    return with(with(parameter("CK_SSL3_MASTER_KEY_DERIVE_PARAMS", ""), "random_data", random()), "version", version);
}

Ref keyMaterialOut()
{
    Ref made = parameter("CK_SSL3_KEY_MAT_OUT", "ivClient='12345678' ivServer='12345678'");
    for (const char* name : {"clientMacSecret", "serverMacSecret", "clientKey", "serverKey"})
        made.object->fields[std::string(name) + ":Lcom/kelvane/pkcs11/PKCS11Object;"] = 0;
    return made;
}

Ref keyMaterial(Ref material)
{
    Ref made = parameter("CK_SSL3_KEY_MAT_PARAMS", "macSizeInBits=160 keySizeInBits=128 ivSizeInBits=64 exportable=b1");
    return with(with(made, "randomData", random()), "returnedKeyMaterial", material);
}

Ref tls12KeyMaterial()
{
    Ref made = parameter("CK_TLS12_KEY_MAT_PARAMS", "ulMacSizeInBits=160 ulKeySizeInBits=128 ulIVSizeInBits=64"
                                                    " bIsExport=z1 prfHashMechanism=592");
    return with(with(made, "RandomInfo", random()), "pReturnedKeyMaterial", keyMaterialOut());
}

// Feedback mode with one piece of data and one more key, whose template is empty.
Ref feedbackKdf()
{
    Ref data = parameter("CK_PRF_DATA_PARAM", "type=4"), more = parameter("CK_DERIVED_KEY", "");
    data.object->fields["pValue:Ljava/lang/Object;"] = bytes("abc");
    more.object->fields["pTemplate:Lcom/kelvane/pkcs11/Template;"] = 0;
    Ref made = parameter("CK_SP800_108_FEEDBACK_KDF_PARAMS", "prfType=593 pIV='defgh'");
    for (const auto& [field, element] : {std::pair{"pDataParams", data}, std::pair{"pAdditionalDerivedKeys", more}}) {
        Ref array = newObjects({element});
        array.object->type = "[L" + element.object->type + ";";
        made = with(made, field, array);
    }
    return made;
}

std::vector<Parameter> parameters()
{
    const std::string rc2 = "bits=40 macLength=-1 iv='12345678'";
    const std::string rc5 = "wordSize=4 rounds=12 macLength=-1 iv='12345678'";
    const std::string ecdh = "kdf=2 sharedData='abc' publicDataLen=5 publicData='defgh' ";
    const std::string padding = "hashAlg=544 mgf=1 source=1 sLen=20 pSourceData='abc' ulSourceDataLen=3";
    const std::string gcm = "pIv='123456789abc' ulIvLen=12 pAAD='AAD' ulAADLen=3 ulTagBits=128";
    const std::string iv16 = "123456789abcdefg";
    const std::string aead = "pNonce='abc' pAAD='defgh' ulDataLen=99 ulMACLen=8";
    const std::string hkdf = "bExtract=z1 bExpand=z1 prfHashMechanism=592 ulSaltType=4 pSalt='abc' pInfo='defgh'";
    const std::string wrap = "ulAESKeyBits=256 kdf=2 pSharedData='abc'";
    Ref iv = newBytes("12345678");
    return {
        // clang-format off
        {CKM_DES_MAC_GENERAL, integer(kNegative), "4 0:u2147483653", "8 0:u2147483653"},
        {CKM_EXTRACT_KEY_FROM_KEY, integer(8), "4 0:u8", "8 0:u8"},
        {CKM_DES_CBC, iv, "8 0:x3132333435363738", "8 0:x3132333435363738"},
        {CKM_SKIPJACK_CBC64, iv, "8 0:x3132333435363738", "8 0:x3132333435363738"},
        {CKM_DH_PKCS_DERIVE, bigInteger({"\0\x80", 2}), "1 0:x80", "1 0:x80"},
        {CKM_CONCATENATE_BASE_AND_KEY, key, "4 0:u2147483657", "8 0:u2147483657"},
        {CKM_RC2_ECB, parameter("PKCS11MechPar_RC2", rc2), "4 0:u40", "8 0:u40"},
        {CKM_RC2_CBC, parameter("PKCS11MechPar_RC2_CBC", rc2),
            "12 0:u40 4:x3132333435363738", "16 0:u40 8:x3132333435363738"},
        {CKM_RC2_MAC_GENERAL, parameter("PKCS11MechPar_RC2_GENMAC", rc2),
            "8 0:u40 4:u4294967295", "16 0:u40 8:u4294967295"},
        {CKM_RC5_ECB, parameter("PKCS11MechPar_RC5", rc5), "8 0:u4 4:u12", "16 0:u4 8:u12"},
        {CKM_RC5_CBC, parameter("PKCS11MechPar_RC5_CBC", rc5),
            "20 0:u4 4:u12 8:p20 16:u8 20:x3132333435363738", "32 0:u4 8:u12 16:p32 24:u8 32:x3132333435363738"},
        {CKM_RC5_MAC_GENERAL, parameter("PKCS11MechPar_RC5_GENMAC", rc5),
            "12 0:u4 4:u12 8:u4294967295", "24 0:u4 8:u12 16:u4294967295"},
        {CKM_PBE_SHA1_DES3_EDE_CBC, pbe(iv),
            "36 0:p36 8:p44 16:u5 20:p49 28:u4 32:u1000 36:x3132333435363738616263646573616c74",
            "48 0:p48 8:p56 16:u5 24:p61 32:u4 40:u1000 48:x3132333435363738616263646573616c74"},
        {CKM_SSL3_PRE_MASTER_KEY_GEN, version(), "2 0:b3 1:b1", "2 0:b3 1:b1"},
        {CKM_SSL3_MASTER_KEY_DERIVE_DH, masterKeyDerive(version()),
            "32 0:p32 8:u3 12:p35 20:u5 24:p40 32:x61626364656667680301",
            "40 0:p40 8:u3 16:p43 24:u5 32:p48 40:x61626364656667680301"},
        {CKM_TLS_KEY_AND_MAC_DERIVE, keyMaterial(keyMaterialOut()),
            "45 0:u160 4:u128 8:u64 12:b1 13:p45 21:u3 25:p48 33:u5 37:p53 45:x6162636465666768"
            " 53:u0 57:u0 61:u0 65:u0 69:p85 77:p93",
            "72 0:u160 8:u128 16:u64 24:b1 32:p72 40:u3 48:p75 56:u5 64:p80 72:x6162636465666768"
            " 80:u0 88:u0 96:u0 104:u0 112:p128 120:p136"},
        {CKM_TLS_PRF, prf(newBytes("1234")),
            "40 0:p40 8:u3 12:p43 20:u5 24:p48 32:p52 40:x6162636465666768 52:u4",
            "48 0:p48 8:u3 16:p51 24:u5 32:p56 40:p64 48:x6162636465666768 64:u4"},
        {CKM_ECDH1_DERIVE, parameter("CK_ECDH1_DERIVE_PARAMS", ecdh + "sharedDataLen=3"),
            "28 0:u2 4:u3 8:p28 16:u5 20:p31 28:x6162636465666768",
            "40 0:u2 8:u3 16:p40 24:u5 32:p43 40:x6162636465666768"},
        {CKM_ECDH1_COFACTOR_DERIVE, parameter("CK_ECDH1_DERIVE_PARAMS", ecdh + "sharedDataLen=0"),
            "28 0:u2 4:u0 8:p- 16:u5 20:p28 28:x6465666768",
            "40 0:u2 8:u0 16:p- 24:u5 32:p40 40:x6465666768"},
        {CKM_AES_GCM, parameter("CK_GCM_PARAMS", gcm),
            "28 0:p28 8:u12 12:p40 20:u3 24:u128 28:x313233343536373839616263414144",
            "48 0:p48 8:u12 16:u96 24:p60 32:u3 40:u128 48:x313233343536373839616263414144"},
        {CKM_RSA_PKCS_OAEP, parameter("CK_RSA_PKCS_OAEP_PARAMS", padding),
            "24 0:u544 4:u1 8:u1 12:p24 20:u3 24:x616263", "40 0:u544 8:u1 16:u1 24:p40 32:u3 40:x616263"},
        {CKM_RSA_PKCS_PSS, parameter("CK_RSA_PKCS_PSS_PARAMS", padding),
            "12 0:u544 4:u1 8:u20", "24 0:u544 8:u1 16:u20"},
        {CKM_AES_CTR, parameter("CK_AES_CTR_PARAMS", "ulCounterBits=32 cb='" + iv16 + "'"),
            "20 0:u32 4:x" + hex(iv16), "24 0:u32 8:x" + hex(iv16)},
        {CKM_AES_CCM, parameter("CK_CCM_PARAMS", aead), "32 0:u99 4:p32 12:u3 16:p35 24:u5 28:u8 32:x6162636465666768",
            "48 0:u99 8:p48 16:u3 24:p51 32:u5 40:u8 48:x6162636465666768"},
        {CKM_AES_ECB_ENCRYPT_DATA, parameter("CK_KEY_DERIVATION_STRING_DATA", "pData='abc'"),
            "12 0:p12 8:u3 12:x616263", "16 0:p16 8:u3 16:x616263"},
        {CKM_DES_CBC_ENCRYPT_DATA, parameter("CK_DES_CBC_ENCRYPT_DATA_PARAMS", "iv='12345678' pData='abc'"),
            "20 0:x3132333435363738 8:p20 16:u3 20:x616263", "24 0:x3132333435363738 8:p24 16:u3 24:x616263"},
        {CKM_AES_CBC_ENCRYPT_DATA, parameter("CK_AES_CBC_ENCRYPT_DATA_PARAMS", "iv='" + iv16 + "' pData='abc'"),
            "28 0:x" + hex(iv16) + " 16:p28 24:u3 28:x616263", "32 0:x" + hex(iv16) + " 16:p32 24:u3 32:x616263"},
        {CKM_RSA_AES_KEY_WRAP, with(parameter("CK_RSA_AES_KEY_WRAP_PARAMS", wrap), "pOAEPParams",
            parameter("CK_RSA_PKCS_OAEP_PARAMS", padding)),
            "12 0:u256 4:p12 12:u544 16:u1 20:u1 24:p36 32:u3 36:x616263",
            "16 0:u256 8:p16 16:u544 24:u1 32:u1 40:p56 48:u3 56:x616263"},
        {CKM_ECDH_AES_KEY_WRAP, parameter("CK_ECDH_AES_KEY_WRAP_PARAMS", wrap),
            "20 0:u256 4:u2 8:u3 12:p20 20:x616263", "32 0:u256 8:u2 16:u3 24:p32 32:x616263"},
        {CKM_EDDSA, parameter("CK_EDDSA_PARAMS", "phFlag=z1 pContextData='abc'"),
            "13 0:b1 1:u3 5:p13 13:x616263", "24 0:b1 8:u3 16:p24 24:x616263"},
        {CKM_CHACHA20_POLY1305, parameter("CK_SALSA20_CHACHA20_POLY1305_PARAMS", aead),
            "24 0:p24 8:u3 12:p27 20:u5 24:x6162636465666768", "32 0:p32 8:u3 16:p35 24:u5 32:x6162636465666768"},
        {CKM_HKDF_DERIVE, with(parameter("CK_HKDF_PARAMS", hkdf), "hSaltKey", key),
            "38 0:b1 1:b1 2:u592 6:u4 10:p38 18:u3 22:u2147483657 26:p41 34:u5 38:x6162636465666768",
            "64 0:b1 1:b1 8:u592 16:u4 24:p64 32:u3 40:u2147483657 48:p67 56:u5 64:x6162636465666768"},
        {CKM_HASH_ML_DSA, parameter("CK_HASH_SIGN_ADDITIONAL_CONTEXT", "hedgeVariant=1 pContext='abc' hash=592"),
            "20 0:u1 4:p20 12:u3 16:u592 20:x616263", "32 0:u1 8:p32 16:u3 24:u592 32:x616263"},
        {CKM_CHACHA20, parameter("CK_CHACHA20_PARAMS", "pBlockCounter='abcd' pNonce='efghijkl'"),
            "24 0:p24 8:u32 12:p28 20:u64 24:x6162636465666768", "32 0:p32 8:u32 16:p36 24:u64 32:x6162636465666768"},
        {CKM_TLS12_KEY_AND_MAC_DERIVE, tls12KeyMaterial(),
            "49 0:u160 4:u128 8:u64 12:b1 13:p49 21:u3 25:p52 33:u5 37:p57 45:u592 49:x6162636465666768"
            " 57:u0 61:u0 65:u0 69:u0 73:p89 81:p97",
            "80 0:u160 8:u128 16:u64 24:b1 32:p80 40:u3 48:p83 56:u5 64:p88 72:u592 80:x6162636465666768"
            " 88:u0 96:u0 104:u0 112:u0 120:p136 128:p144"},
        {CKM_SP800_108_FEEDBACK_KDF, feedbackKdf(),
            "40 0:u593 4:u1 8:p48 16:u5 20:p124 28:u1 32:p80 48:u4 52:p64 60:u3 64:x616263"
            " 80:p- 88:u0 92:p112 112:u0 124:x6465666768",
            "56 0:u593 8:u1 16:p56 24:u5 32:p136 40:u1 48:p88 56:u4 64:p80 72:u3 80:x616263"
            " 88:p- 96:u0 104:p120 120:u0 136:x6465666768"},
        {kNegative, parameter("PKCS11RawParameter", "bytes='abc'"), "3 0:x616263", "3 0:x616263"},
        // clang-format on
    };
}

void testParameters()
{
    for (const Parameter& row : parameters()) {
        token.layout = packed ? row.onWindows : row.onUnix;
        checkCall("C_DigestInit S {" + token.layout + "} -> ",
                  [&row] { return SESSION(digestInit)(row.mechanism, row.value); });
        check(std::to_string(static_cast<uint32_t>(row.mechanism)), std::to_string(token.mechanism));
    }
    fake.missingClass = "com/kelvane/pkcs11/PKCS11RawParameter"; // that it is missing is no error
    checkCall(" ->  PKCS11Exception(0x71)", CALL(SESSION(digestInit)(kNegative, key)));
    fake.missingClass.clear();
    token.layout.clear();
}

// What a token writes into a parameter, and where it ends up in Java.
void testReturnedParameters()
{
    Ref output = newBytes("1234");
    Ref iv = newBytes("12345678");
    Ref returned = version();
    Ref material = keyMaterialOut();
    auto derive = [](jint mechanism, Ref value) { SESSION(deriveKey)(mechanism, value, key, nullptr, nullptr); };
    std::string handles;
    for (unsigned long handle : {0x21UL, 0x22UL, 0x23UL, 0x24UL})
        handles += ulongBytes(handle);

    token.returned = {{packed ? 48 : 56, "PRF!"}};
    derive(CKM_TLS_PRF, prf(output));
    token.returned = {{packed ? 40 : 48, "\3\2"}};
    derive(CKM_TLS_MASTER_KEY_DERIVE, masterKeyDerive(returned));
    token.returned = {{packed ? 53 : 80, handles}, {packed ? 85 : 128, "clientIVserverIV"}};
    derive(CKM_SSL3_KEY_AND_MAC_DERIVE, keyMaterial(material));
    token.returned = {{packed ? 36 : 48, "PBE's IV"}};
    SESSION(generateKey)(CKM_PBE_MD5_DES_CBC, pbe(iv), nullptr, nullptr);
    token.returned.clear();

    auto& numbers = returned.object->fields;
    check("PRF! 3.2 PBE's IV", output.object->bytes + " " + std::to_string(numbers["major:B"]) + "." +
                                   std::to_string(numbers["minor:B"]) + " " + iv.object->bytes);
    std::string found;
    for (const auto& [name, value] : material.object->fields)
        found += show({reinterpret_cast<Object*>(value)}) + " ";
    check("NativePKCS11Object(@,0x23) NativePKCS11Object(@,0x21) " + hex("clientIV") + " " + hex("serverIV") +
              " NativePKCS11Object(@,0x24) NativePKCS11Object(@,0x22) ",
          found);
    check("", fake.complaints);
}

// ---- Secrets ----

// Calls with some stack between, so that what is looked for below is not what the looking itself has left there.
__attribute__((noinline)) std::string callBelow(const std::function<std::string()>& call)
{
    volatile char between[4096];
    between[0] = 0;
    return call() + std::string(between[0], ' ');
}

__attribute__((noinline, no_sanitize("address"))) bool isOnStackBelow(const std::string& secret)
{
    const char* frame = static_cast<const char*>(__builtin_frame_address(0));
    for (const char* place = frame - 48 * 1024; place < frame - 2048; ++place) {
        std::size_t equal = 0;
        while (equal < 16 && place[equal] == secret[equal])
            ++equal;
        if (equal == 16)
            return true;
    }
    return false;
}

// A PIN, a key's value, a password, a text to be encrypted: after the call it is neither in a copy that was freed nor
// on the stack.
void testSecrets()
{
    const std::string secret = "S3cret-PIN-or-key-of-40-bytes-and-longer";
    fake.secret = secret;
    Ref array = newBytes(secret), string = newString(secret), none;
    Ref state = newBytes(std::string(200, '.') + secret);
    auto templateOf = [&array] { return newObjects({array}); };
    Ref password = with(with(parameter("PKCS11MechPar_PBE", "salt='s' iterations=1"), "password", array), "iv",
                        newBytes("12345678"));
    const std::function<std::string()> calls[] = {
        CALL(SESSION(login)(JNI_FALSE, array)),
        CALL(SESSION(login)(JNI_TRUE, string)),
        CALL(SESSION(initPIN)(array)),
        CALL(SESSION(setPIN)(string, array)),
        CALL(SESSION(setPIN)(array, newBytes(std::string(51, 'x')))), // refused with the first copied
        CALL(SLOT(initToken)(string, newString("label"))),
        CALL(SESSION(createObject)(newInts({CKA_VALUE}), templateOf())),
        CALL(SESSION(createObject)(newInts({CKA_LABEL}), newObjects({string}))),
        CALL(SESSION(createObject)(newInts({CKA_PRIVATE_EXPONENT}), newObjects({bigInteger(secret)}))),
        CALL(SESSION(findObjectsInit)(newInts({CKA_VALUE}), templateOf())),
        CALL(OBJECT(setAttributeValue)(CKA_VALUE, array)),
        CALL(SESSION(unwrapKey)(CKM_DES_ECB, none, key, newBytes("1"), 0, 1, newInts({CKA_VALUE}), templateOf())),
        CALL(SESSION(generateKey)(CKM_PBE_SHA1_DES3_EDE_CBC, password, none, none)),
        CALL(SESSION(encrypt)(array, 0, 40, out, 0)),
        CALL(SESSION(encrypt)(array, 0, 40, none, 0)), // refused with the input pinned
        CALL(SESSION(seedRandom)(array, 0, 40)),
        CALL(SESSION(setOperationState)(state, none, none)),
    };
    for (const auto& call : calls) {
        std::string complaints = callBelow([&call] { return outcome(call), fake.complaints; });
        check("", complaints);
        check("not on the stack", isOnStackBelow(secret) ? "on the stack" : "not on the stack");
    }
    fake.secret.clear();
}

// ---- The system ----

#ifdef _WIN32
// A template is granted while 128 KiB of the thread's stack stay free, and refused beyond. (On Linux the suites in Java
// see to that.)
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
                  CALL(SESSION(createObject)(newInts({CKA_VALUE}), large)));
    }
    return 0;
}

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
        checkCall(midnight < 0 ? " ->  PKCS11Exception(0x13)"
                               : "C_SetAttributeValue S K" + entry(CKA_END_DATE, day) + " -> ",
                  CALL(OBJECT(setAttributeValue)(CKA_END_DATE, late)));
        token.attributes[CKA_END_DATE] = day;
        checkCall("C_GetAttributeValue S K" + fetch(CKA_END_DATE, 8) + " -> Date(" + std::to_string(midnight) + ")",
                  CALL(OBJECT(getDateAttributeValue)(CKA_END_DATE)));
    }
    checkCall(" ->  PKCS11Exception(0x13)",
              [] { return OBJECT(setAttributeValue)(CKA_END_DATE, date(253402300800000)); });
}

// A path that names no module: the exception quotes it, the debug line has the system's own reason. A NUL within must
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
    for (const auto& [path, reason] : rows) {
        checkCall(" -> 0 PKCS11Exception('LoadLibrary(\"" + path + "\") failed')",
                  [&path = path] { return LIBRARY(loadPKCS11Library)(newString(path)); });
        expected += "tokbridge:  " + reason + "\n";
    }
    std::ostringstream written;
    written << std::ifstream(debugOutput).rdbuf();
    check(expected, written.str());
}

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
    testEveryMethod();
    testFailedLock();
    testParameters();
    testReturnedParameters();
    testSecrets();
#ifdef _WIN32
    testStacks();
#endif
    testDates();
    testFailedLoads(debugOutput);
    check("89 methods", std::to_string(methodsCalled.size()) + " methods");
    std::fprintf(stderr, "%s, %d failures\n", packed ? "packed" : "aligned", failures);
    return failures == 0 ? 0 : 1;
}
