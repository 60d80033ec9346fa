#include "call.h"

namespace {

template <auto member>
struct Entry;

List& listOf(List*) { return list; }
Extended& listOf(Extended*) { return extended; }

template <typename Owner, typename... Arguments, CK_RV (*Owner::*member)(Arguments...)>
struct Entry<member>
{
    static inline const char* name;

    static CK_RV call(Arguments... arguments) { return run(name, {Word(arguments)...}); }

    static void install(bool present) { listOf(static_cast<Owner*>(nullptr)).*member = present ? &call : nullptr; }
};

template <auto member>
Function row(const char* name, const char* parameters, const char* defaults = "")
{
    Entry<member>::name = name;
    return {parameters, parseValues(defaults), &Entry<member>::install};
}

} // namespace

// Each row: name, parameters, default answer. A parameter is "name:kind", or a kind alone, which is its name too; any
// other is a number, shown in hexadecimal. Kinds and their C arguments:
//
//   count       a number, shown in decimal
//   pointer     shown as null or set
//   label       32 bytes
//   in          bytes, length
//   template    attributes, count
//   query       the same, to be read
//   mechanism   answered by writing into its parameter
//   out         buffer, pointer to its length; without an answer it receives the input
//   buffer      buffer, its length
//   list        buffer for numbers, pointer to their count
//   found       buffer for numbers, its size, pointer to their count
//   result      pointer to a number or handle; without an answer the next handle
//   interfaces  buffer for interfaces, pointer to their count; the answer is the number of "PKCS 11" ones
//   functions   pointer to the list; "list=new" answers a new one each time, "list=null" null
//   CK_...      pointer to that structure
// clang-format off
std::map<std::string, Function>& functions()
{
    static auto& all = *new std::map<std::string, Function>{
#define ROW(name, ...) {#name, row<&List::name>(#name, __VA_ARGS__)}
    ROW(C_Initialize, "args:CK_C_INITIALIZE_ARGS"),
    ROW(C_Finalize, "reserved:pointer"),
    ROW(C_GetInfo, "info:CK_INFO",
        "cryptokiVersion=0228 manufacturerID='Scripted' flags=0 libraryDescription='A token' libraryVersion=0102"),
    ROW(C_GetFunctionList, "list:functions"),
    ROW(C_GetSlotList, "tokenPresent:count slots:list", "slots=1,2"),
    ROW(C_GetSlotInfo, "slot info:CK_SLOT_INFO",
        "slotDescription='Slot' manufacturerID='Scripted' flags=1 hardwareVersion=0100 firmwareVersion=0005"),
    ROW(C_GetTokenInfo, "slot info:CK_TOKEN_INFO",
        "label='Token' manufacturerID='Scripted' model='Model' serialNumber='0001' flags=0x404 ulMaxSessionCount=0"
        " ulSessionCount=0 ulMaxRwSessionCount=0 ulRwSessionCount=0 ulMaxPinLen=50 ulMinPinLen=4 ulTotalPublicMemory=0"
        " ulFreePublicMemory=0 ulTotalPrivateMemory=0 ulFreePrivateMemory=0 hardwareVersion=0100 firmwareVersion=0005"),
    ROW(C_GetMechanismList, "slot mechanisms:list", "mechanisms=0x1080,0x1082"),
    ROW(C_GetMechanismInfo, "slot type info:CK_MECHANISM_INFO", "ulMinKeySize=16 ulMaxKeySize=32 flags=0x300"),
    ROW(C_InitToken, "slot pin:in label"),
    ROW(C_InitPIN, "session pin:in"),
    ROW(C_SetPIN, "session oldPin:in newPin:in"),
    ROW(C_OpenSession, "slot flags application:pointer notify:pointer session:result", "session=7"),
    ROW(C_CloseSession, "session"),
    ROW(C_CloseAllSessions, "slot"),
    ROW(C_GetSessionInfo, "session info:CK_SESSION_INFO", "slotID=1 state=2 flags=6 ulDeviceError=0"),
    ROW(C_GetOperationState, "session out", "out=5e55"),
    ROW(C_SetOperationState, "session in encryptionKey authenticationKey"),
    ROW(C_Login, "session user pin:in"),
    ROW(C_Logout, "session"),
    ROW(C_CreateObject, "session template object:result"),
    ROW(C_CopyObject, "session source template object:result"),
    ROW(C_DestroyObject, "session object"),
    ROW(C_GetObjectSize, "session object size:result", "size=42"),
    ROW(C_GetAttributeValue, "session object template:query",
        "0x0=0300000000000000 0x1=01 0x3='label' 0x11=0102 0x110='20240229' 0x120=ff01"
        " 0x40000600=82100000000000000100008000000000"),
    ROW(C_SetAttributeValue, "session object template"),
    ROW(C_FindObjectsInit, "session template"),
    ROW(C_FindObjects, "session objects:found"),
    ROW(C_FindObjectsFinal, "session"),
    ROW(C_EncryptInit, "session mechanism key"),
    ROW(C_Encrypt, "session in out"),
    ROW(C_EncryptUpdate, "session in out"),
    ROW(C_EncryptFinal, "session out", "out=ef"),
    ROW(C_DecryptInit, "session mechanism key"),
    ROW(C_Decrypt, "session in out"),
    ROW(C_DecryptUpdate, "session in out"),
    ROW(C_DecryptFinal, "session out", "out=df"),
    ROW(C_DigestInit, "session mechanism"),
    ROW(C_Digest, "session in out", "out=d16e57"),
    ROW(C_DigestUpdate, "session in"),
    ROW(C_DigestKey, "session key"),
    ROW(C_DigestFinal, "session out", "out=d16e57"),
    ROW(C_SignInit, "session mechanism key"),
    ROW(C_Sign, "session in out", "out=516e"),
    ROW(C_SignUpdate, "session in"),
    ROW(C_SignFinal, "session out", "out=516e"),
    ROW(C_SignRecoverInit, "session mechanism key"),
    ROW(C_SignRecover, "session in out", "out=516e"),
    ROW(C_VerifyInit, "session mechanism key"),
    ROW(C_Verify, "session in signature:in"),
    ROW(C_VerifyUpdate, "session in"),
    ROW(C_VerifyFinal, "session signature:in"),
    ROW(C_VerifyRecoverInit, "session mechanism key"),
    ROW(C_VerifyRecover, "session signature:in out"),
    ROW(C_DigestEncryptUpdate, "session in out"),
    ROW(C_DecryptDigestUpdate, "session in out"),
    ROW(C_SignEncryptUpdate, "session in out"),
    ROW(C_DecryptVerifyUpdate, "session in out"),
    ROW(C_GenerateKey, "session mechanism template key:result"),
    ROW(C_GenerateKeyPair, "session mechanism publicTemplate:template privateTemplate:template"
        " publicKey:result privateKey:result"),
    ROW(C_WrapKey, "session mechanism wrappingKey key out", "out=33a9"),
    ROW(C_UnwrapKey, "session mechanism unwrappingKey in template key:result"),
    ROW(C_DeriveKey, "session mechanism baseKey template key:result"),
    ROW(C_SeedRandom, "session in"),
    ROW(C_GenerateRandom, "session out:buffer"),
    ROW(C_GetFunctionStatus, "session"),
    ROW(C_CancelFunction, "session"),
    ROW(C_WaitForSlotEvent, "flags slot:result reserved:pointer", "slot=1"),
#undef ROW
#define ROW(name, ...) {#name, row<&Extended::name>(#name, __VA_ARGS__)}
    ROW(C_GetInterfaceList, "interfaces", "interfaces=2"),
    ROW(C_LoginUser, "session user pin:in name:in"),
    ROW(C_SessionCancel, "session flags"),
    ROW(C_EncapsulateKey, "session mechanism publicKey:key template out key:result", "out=c1"),
    ROW(C_DecapsulateKey, "session mechanism privateKey:key template in key:result"),
#undef ROW
    };
    return all;
}
// clang-format on

List list;
Extended extended;
