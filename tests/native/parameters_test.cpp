// The parameters of mechanisms as a module sees them, in both layouts, and what it writes into them.

#include "native_calls.h"

namespace {

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

// Feedback mode with one piece of data and one more key of that template.
Ref feedbackKdf(int64_t attributes = 0)
{
    Ref data = parameter("CK_PRF_DATA_PARAM", "type=4"), more = parameter("CK_DERIVED_KEY", "");
    data.object->fields["pValue:Ljava/lang/Object;"] = bytes("abc");
    more.object->fields["pTemplate:Lcom/kelvane/pkcs11/Template;"] = attributes;
    more.object->fields["phKey:Lcom/kelvane/pkcs11/nat/NativePKCS11Object;"] = 0;
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
        {CKM_TLS_KEY_AND_MAC_DERIVE, with(keyMaterial(keyMaterialOut()), "ivSizeInBits=12"), // no whole bytes
            "45 0:u160 4:u128 8:u12 12:b1 53:u0 57:u0 61:u0 65:u0 69:p85 77:p86",
            "72 0:u160 8:u128 16:u12 24:b1 80:u0 88:u0 96:u0 104:u0 112:p128 120:p129"},
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
            "56 0:u593 8:u1 16:p56 24:u5 32:p128 40:u1 48:p88 56:u4 64:p80 72:u3 80:x616263"
            " 88:p- 96:u0 104:p120 120:u0 128:x6465666768"},
        {kNegative, parameter("PKCS11RawParameter", "bytes='abc'"), "3 0:x616263", "3 0:x616263"},
        // clang-format on
    };
}

} // namespace

void testParameters()
{
    for (const Parameter& row : parameters()) {
        token.layout = packed ? row.onWindows : row.onUnix;
        checkCall("C_DigestInit S {" + token.layout + "} -> ",
                  [&row] { return SESSION(digestInit)(row.mechanism, row.value); });
        check(std::to_string(static_cast<uint32_t>(row.mechanism)), std::to_string(token.mechanism));
    }
    fake.missingClass = "com/kelvane/pkcs11/PKCS11RawParameter"; // that it is missing is no error
    checkCall(" ->  " + raised(CKR_MECHANISM_PARAM_INVALID), CALL(SESSION(digestInit)(kNegative, key)));
    fake.missingClass.clear();
    token.layout.clear();
}

namespace {

// A call with a parameter that a token writes into.
struct Output
{
    jint mechanism;
    Ref value;
    std::vector<std::pair<int, std::string>> returned;
    std::vector<unsigned long> more; // keys among it

    std::string operator()() const
    {
        token.returned = returned;
        token.more = more;
        return mechanism == static_cast<jint>(CKM_PBE_MD5_DES_CBC)
                   ? SESSION(generateKey)(mechanism, value, nullptr, nullptr)
                   : SESSION(deriveKey)(mechanism, value, key, nullptr, nullptr);
    }
};

Ref output, iv, offered, material; // of the table below

std::vector<Output> outputs()
{
    output = newBytes("1234");
    iv = newBytes("12345678");
    offered = version();
    material = keyMaterialOut();
    const std::string handles = ulongBytes(0x21) + ulongBytes(0x22) + ulongBytes(0x23) + ulongBytes(0x24);
    return {{CKM_TLS_PRF, prf(output), {{packed ? 48 : 56, "PRF!"}}, {}},
            {CKM_TLS_MASTER_KEY_DERIVE, masterKeyDerive(offered), {{packed ? 40 : 48, "\3\2"}}, {}},
            {CKM_SSL3_KEY_AND_MAC_DERIVE,
             keyMaterial(material),
             {{packed ? 53 : 80, handles}, {packed ? 85 : 128, "clientIVserverIV"}},
             {0x21, 0x22, 0x23, 0x24}},
            {CKM_SP800_108_FEEDBACK_KDF, feedbackKdf(), {{packed ? 112 : 120, ulongBytes(0x21)}}, {0x21}},
            {CKM_PBE_MD5_DES_CBC, pbe(iv), {{packed ? 36 : 48, "PBE's IV"}}, {}}};
}

void forgetOutputs()
{
    token.returned.clear();
    token.more.clear();
    token.moved.clear();
}

} // namespace

// What a token writes into a parameter, and where it ends up in Java; and whatever fails then.
void testReturnedParameters()
{
    for (const Output& each : outputs()) {
        outcome(each);
        check("", fake.complaints);
        checkFailures(each);
        outcome(each);
    }
    auto& numbers = offered.object->fields;
    check("PRF! 3.2 PBE's IV", output.object->bytes + " " + std::to_string(numbers["major:B"]) + "." +
                                   std::to_string(numbers["minor:B"]) + " " + iv.object->bytes);
    std::string found;
    for (const auto& [name, value] : material.object->fields)
        found += show({reinterpret_cast<Object*>(value)}) + " ";
    check("NativePKCS11Object(@,0x23) NativePKCS11Object(@,0x21) " + hex("clientIV") + " " + hex("serverIV") +
              " NativePKCS11Object(@,0x24) NativePKCS11Object(@,0x22) ",
          found);
    forgetOutputs();
}

// A token moves the pointer to its output: what lies in the reservation is read, to its last byte, and nothing else is.
void testMovedPointers()
{
    struct Move
    {
        std::size_t output; // of the table above
        int pointer;        // its place in the parameter
        int end;            // of the reservation, from the parameter on: rounded up to 16 with the mechanism before it
        int length;         // of what the pointer leads to
    };
    constexpr int start = packed ? -16 : -24;
    const Move moves[] = {{0, packed ? 24 : 32, packed ? 64 : 88, 4},
                          {1, packed ? 24 : 32, packed ? 48 : 56, 2},
                          {2, packed ? 69 : 112, packed ? 112 : 152, 8},
                          {2, packed ? 77 : 120, packed ? 112 : 152, 8},
                          {2, packed ? 37 : 64, packed ? 112 : 152, packed ? 32 : 48},
                          {4, 0, packed ? 64 : 88, 8}};
    const std::vector<Output> calls = outputs();
    for (const Move& move : moves) {
        for (int place : {start - 1, start, move.end - move.length, move.end - move.length + 1}) {
            bool within = place >= start && place <= move.end - move.length;
            token.moved = {{move.pointer, place}};
            std::string found = outcome(calls[move.output]);
            bool refused = found.find(raised(CKR_BUFFER_TOO_SMALL)) != std::string::npos;
            bool isMaterial = move.length == (packed ? 32 : 48); // in which other pointers lie
            const std::string call = std::to_string(move.output) + " at " + std::to_string(place);
            check(call + (within ? " read" : " refused"),
                  call + (refused && !(isMaterial && within) ? " refused" : " read"));
        }
    }
    forgetOutputs();
}

// Templates in templates, in an attribute and in a parameter, whatever fails; one that holds itself ends.
void testTemplates()
{
    Ref none, values = newObjects({newString("label"), none});
    Ref inner = make("com/kelvane/pkcs11/Template");
    inner.object->fields = {{"types:[I", address(newInts({CKA_LABEL, CKA_CHECK_VALUE}))},
                            {"values:[Ljava/lang/Object;", address(values)}};
    Ref outer = make("com/kelvane/pkcs11/Template");
    outer.object->fields = {{"types:[I", address(newInts({CKA_WRAP_TEMPLATE, CKA_DERIVE_TEMPLATE}))},
                            {"values:[Ljava/lang/Object;", address(newObjects({inner, none}))}};
    const std::function<std::string()> calls[] = {
        CALL(SESSION(createObject)(newInts({CKA_UNWRAP_TEMPLATE}), newObjects({inner}))),
        CALL(SESSION(deriveKey)(CKM_SP800_108_FEEDBACK_KDF, feedbackKdf(address(outer)), key, none, none))};
    for (const auto& call : calls) {
        check("made", outcome(call).find(" -> NativePKCS11Object(@,0x11)") != std::string::npos ? "made" : "not made");
        checkFailures(call);
    }

    inner.object->fields["types:[I"] = address(newInts({CKA_LABEL, CKA_WRAP_TEMPLATE}));
    values.object->elements[1] = inner.object;
    for (const auto& call : calls)
        check(" -> null " + raised(CKR_ATTRIBUTE_VALUE_INVALID), outcome(call));
}
