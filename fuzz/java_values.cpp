#include "java_values.h"

#include <algorithm>
#include <sstream>

#include "bridge/cryptoki.h"
#include "marshal/attribute_kinds.h"

namespace {

constexpr const char* kPackage = "com/kelvane/pkcs11/";

// The entries of a template: a few, or so many, in turn, that each of them would be noticed to leave something behind.
constexpr std::size_t kDifferent = 6;
constexpr std::size_t kMany = 200;
constexpr std::size_t kMore = 5000; // than a stack holds

// A parameter class: a mechanism that takes it, and its fields as "name:kind". Kinds: I an int, B a byte, Z a boolean,
// b a byte[], w one that is written to, a class of this table by its name, "Name[]" an array of such, Template, and *
// any object.
struct Shape
{
    CK_MECHANISM_TYPE mechanism;
    std::string name;
    const char* fields;
};

const Shape kShapes[] = {
    // clang-format off
    {CKM_CONCATENATE_BASE_AND_KEY, "nat/NativePKCS11Object", "objectID:I handle:J"},
    {CKM_RC2_ECB, "PKCS11MechPar_RC2", "bits:I"},
    {CKM_RC2_CBC, "PKCS11MechPar_RC2_CBC", "bits:I iv:b"},
    {CKM_RC2_MAC_GENERAL, "PKCS11MechPar_RC2_GENMAC", "bits:I macLength:I"},
    {CKM_RC5_ECB, "PKCS11MechPar_RC5", "wordSize:I rounds:I"},
    {CKM_RC5_CBC, "PKCS11MechPar_RC5_CBC", "wordSize:I rounds:I iv:b"},
    {CKM_RC5_MAC_GENERAL, "PKCS11MechPar_RC5_GENMAC", "wordSize:I rounds:I macLength:I"},
    {CKM_PBE_MD5_DES_CBC, "PKCS11MechPar_PBE", "iv:w password:b salt:b iterations:I"},
    {CKM_TLS_PRE_MASTER_KEY_GEN, "CK_VERSION", "major:B minor:B"},
    {CKM_VENDOR_DEFINED, "CK_SSL3_RANDOM_DATA", "clientRandom:b serverRandom:b"},
    {CKM_VENDOR_DEFINED, "CK_SSL3_KEY_MAT_OUT", "ivClient:w ivServer:w clientMacSecret:PKCS11Object"
        " serverMacSecret:PKCS11Object clientKey:PKCS11Object serverKey:PKCS11Object"},
    {CKM_AES_GCM, "CK_GCM_PARAMS", "pIv:b ulIvLen:I pAAD:b ulAADLen:I ulTagBits:I"},
    {CKM_SSL3_MASTER_KEY_DERIVE, "CK_SSL3_MASTER_KEY_DERIVE_PARAMS",
        "random_data:CK_SSL3_RANDOM_DATA version:CK_VERSION"},
    {CKM_TLS_MASTER_KEY_DERIVE_DH, "CK_SSL3_MASTER_KEY_DERIVE_PARAMS",
        "random_data:CK_SSL3_RANDOM_DATA version:CK_VERSION"},
    {CKM_SSL3_KEY_AND_MAC_DERIVE, "CK_SSL3_KEY_MAT_PARAMS", "macSizeInBits:I keySizeInBits:I ivSizeInBits:I"
        " exportable:B randomData:CK_SSL3_RANDOM_DATA returnedKeyMaterial:CK_SSL3_KEY_MAT_OUT"},
    {CKM_TLS_PRF, "CK_TLS_PRF_PARAMS", "seed:b label:b output:w"},
    {CKM_ECDH1_DERIVE, "CK_ECDH1_DERIVE_PARAMS", "kdf:I sharedDataLen:I sharedData:b publicDataLen:I publicData:b"},
    {CKM_RSA_PKCS_OAEP, "CK_RSA_PKCS_OAEP_PARAMS", "hashAlg:I mgf:I source:I pSourceData:b ulSourceDataLen:I"},
    {CKM_RSA_PKCS_PSS, "CK_RSA_PKCS_PSS_PARAMS", "hashAlg:I mgf:I sLen:I"},
    {CKM_AES_CTR, "CK_AES_CTR_PARAMS", "ulCounterBits:I cb:b"},
    {CKM_AES_CCM, "CK_CCM_PARAMS", "ulDataLen:I pNonce:b pAAD:b ulMACLen:I"},
    {CKM_AES_ECB_ENCRYPT_DATA, "CK_KEY_DERIVATION_STRING_DATA", "pData:b"},
    {CKM_DES3_CBC_ENCRYPT_DATA, "CK_DES_CBC_ENCRYPT_DATA_PARAMS", "iv:b pData:b"},
    {CKM_AES_CBC_ENCRYPT_DATA, "CK_AES_CBC_ENCRYPT_DATA_PARAMS", "iv:b pData:b"},
    {CKM_RSA_AES_KEY_WRAP, "CK_RSA_AES_KEY_WRAP_PARAMS", "ulAESKeyBits:I pOAEPParams:CK_RSA_PKCS_OAEP_PARAMS"},
    {CKM_ECDH_AES_KEY_WRAP, "CK_ECDH_AES_KEY_WRAP_PARAMS", "ulAESKeyBits:I kdf:I pSharedData:b"},
    {CKM_EDDSA, "CK_EDDSA_PARAMS", "phFlag:Z pContextData:b"},
    {CKM_CHACHA20_POLY1305, "CK_SALSA20_CHACHA20_POLY1305_PARAMS", "pNonce:b pAAD:b"},
    {CKM_HKDF_DERIVE, "CK_HKDF_PARAMS", "bExtract:Z bExpand:Z prfHashMechanism:I ulSaltType:I pSalt:b"
        " hSaltKey:nat/NativePKCS11Object pInfo:b"},
    {CKM_CHACHA20, "CK_CHACHA20_PARAMS", "pBlockCounter:b pNonce:b"},
    {CKM_SALSA20, "CK_SALSA20_PARAMS", "pBlockCounter:b pNonce:b"},
    {CKM_XEDDSA, "CK_XEDDSA_PARAMS", "hash:I"},
    {CKM_ML_DSA, "CK_SIGN_ADDITIONAL_CONTEXT", "hedgeVariant:I pContext:b"},
    {CKM_HASH_SLH_DSA, "CK_HASH_SIGN_ADDITIONAL_CONTEXT", "hedgeVariant:I pContext:b hash:I"},
    {CKM_X9_42_DH_DERIVE, "CK_X9_42_DH1_DERIVE_PARAMS", "kdf:I pOtherInfo:b pPublicData:b"},
    {CKM_X9_42_DH_HYBRID_DERIVE, "CK_X9_42_DH2_DERIVE_PARAMS",
        "kdf:I pOtherInfo:b pPublicData:b ulPrivateDataLen:I hPrivateData:nat/NativePKCS11Object pPublicData2:b"},
    {CKM_X9_42_MQV_DERIVE, "CK_X9_42_MQV_DERIVE_PARAMS", "kdf:I OtherInfo:b PublicData:b ulPrivateDataLen:I"
        " hPrivateData:nat/NativePKCS11Object PublicData2:b publicKey:nat/NativePKCS11Object"},
    {CKM_TLS12_MASTER_KEY_DERIVE, "CK_TLS12_MASTER_KEY_DERIVE_PARAMS",
        "RandomInfo:CK_SSL3_RANDOM_DATA pVersion:CK_VERSION prfHashMechanism:I"},
    {CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE, "CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS",
        "prfHashMechanism:I pSessionHash:b pVersion:CK_VERSION"},
    {CKM_TLS12_KEY_AND_MAC_DERIVE, "CK_TLS12_KEY_MAT_PARAMS", "ulMacSizeInBits:I ulKeySizeInBits:I ulIVSizeInBits:I"
        " bIsExport:Z RandomInfo:CK_SSL3_RANDOM_DATA pReturnedKeyMaterial:CK_SSL3_KEY_MAT_OUT prfHashMechanism:I"},
    {CKM_TLS12_MAC, "CK_TLS_MAC_PARAMS", "prfHashMechanism:I ulMacLength:I ulServerOrClient:I"},
    {CKM_TLS12_KDF, "CK_TLS_KDF_PARAMS", "prfMechanism:I pLabel:b RandomInfo:CK_SSL3_RANDOM_DATA pContextData:b"},
    {CKM_VENDOR_DEFINED, "CK_SP800_108_COUNTER_FORMAT", "bLittleEndian:Z ulWidthInBits:I"},
    {CKM_VENDOR_DEFINED, "CK_SP800_108_DKM_LENGTH_FORMAT", "dkmLengthMethod:I bLittleEndian:Z ulWidthInBits:I"},
    {CKM_VENDOR_DEFINED, "CK_PRF_DATA_PARAM", "type:I pValue:*"},
    {CKM_VENDOR_DEFINED, "CK_DERIVED_KEY", "pTemplate:Template phKey:nat/NativePKCS11Object"},
    {CKM_SP800_108_COUNTER_KDF, "CK_SP800_108_KDF_PARAMS",
        "prfType:I pDataParams:CK_PRF_DATA_PARAM[] pAdditionalDerivedKeys:CK_DERIVED_KEY[]"},
    {CKM_SP800_108_FEEDBACK_KDF, "CK_SP800_108_FEEDBACK_KDF_PARAMS",
        "prfType:I pDataParams:CK_PRF_DATA_PARAM[] pIV:b pAdditionalDerivedKeys:CK_DERIVED_KEY[]"},
    {CKM_VENDOR_DEFINED, "PKCS11RawParameter", "bytes:b"},
    // clang-format on
};

Ref member(Input* input, std::string kind, const std::vector<Object*>& keys);

const Shape* shapeNamed(const std::string& name)
{
    const auto* found =
        std::find_if(std::begin(kShapes), std::end(kShapes), [&name](const Shape& each) { return each.name == name; });
    return found == std::end(kShapes) ? nullptr : found;
}

Ref made(Input* input, const Shape& shape, const std::vector<Object*>& keys)
{
    Ref object = make(kPackage + shape.name);
    std::istringstream words(shape.fields);
    for (std::string word; words >> word;) {
        std::string field = word.substr(0, word.find(':'));
        std::string kind = word.substr(field.size() + 1);
        if (kind == "I" || kind == "J" || kind == "B" || kind == "Z")
            object.object->fields[word] = kind == "I"   ? anyInt(input)
                                          : kind == "J" ? static_cast<int64_t>(input->word())
                                                        : static_cast<int64_t>(input->byte() & 127);
        else if (kind == "b" || kind == "w")
            object.object->fields[field + ":[B"] = address(kind == "b" ? anyBytes(input) : anyOutput(input));
        else if (kind == "*")
            object.object->fields[field + ":Ljava/lang/Object;"] = address(member(input, kind, keys));
        else if (kind.ends_with("[]"))
            object.object->fields[field + ":[L" + kPackage + kind.substr(0, kind.size() - 2) + ";"] =
                address(member(input, kind, keys));
        else
            object.object->fields[field + ":L" + kPackage + kind + ";"] = address(member(input, kind, keys));
    }
    return object;
}

Ref anyTemplate(Input* input)
{
    Ref types = anyTypes(input);
    Ref values = valuesFor(input, types);
    return make(std::string(kPackage) + "Template",
                {{"types:[I", address(types)}, {"values:[Ljava/lang/Object;", address(values)}});
}

// A value of a field of a class, or an array of them; null once in a while.
Ref member(Input* input, std::string kind, const std::vector<Object*>& keys)
{
    if (kind == "PKCS11Object" || input->oneIn(16))
        return {};
    if (kind.ends_with("[]")) {
        kind.resize(kind.size() - 2);
        std::vector<Ref> elements;
        for (unsigned count = input->below(4); count > 0; --count)
            elements.push_back(member(input, kind, keys));
        Ref array = newObjects(elements);
        array.object->type = "[L" + (kPackage + kind) + ";";
        return array;
    }
    if (kind == "*") {
        static const char* const kinds[] = {"CK_SP800_108_COUNTER_FORMAT", "CK_SP800_108_DKM_LENGTH_FORMAT",
                                            "nat/NativePKCS11Object"};
        return input->oneIn(2) ? anyObject(input) : member(input, input->of(kinds), keys);
    }
    if (kind == "Template")
        return anyTemplate(input);
    if (kind == "nat/NativePKCS11Object" && !keys.empty())
        return {keys[input->below(keys.size())]};
    return made(input, *shapeNamed(kind), keys);
}

Ref numberObject(const char* type, const char* getter, int64_t value)
{
    return make(type, {{getter, value}});
}

Ref bigInteger(Input* input)
{
    Ref magnitude = anyBytes(input);
    bool lies = magnitude.object == nullptr || input->oneIn(8);
    auto bits = lies ? anyInt(input) : static_cast<int64_t>(magnitude.object->bytes.size() * 8) - 1;
    return make("java/math/BigInteger", {{"bitLength:()I", bits}, {"toByteArray:()[B", address(magnitude)}});
}

} // namespace

jint anyInt(Input* input)
{
    constexpr jint edges[] = {0, 1, -1, 8, 16, 64, 128, 4096, INT32_MAX, INT32_MIN, INT32_MAX - 8, -8, 0x10000};
    return input->oneIn(2)   ? static_cast<jint>(input->word())
           : input->oneIn(2) ? input->of(edges)
                             : static_cast<jint>(input->byte());
}

Ref anyBytes(Input* input)
{
    constexpr std::size_t large[] = {300, 4096, 20000, 100000, 8, 16};
    unsigned choice = input->byte();
    if (choice == 255)
        return {};
    std::size_t size = choice >= 240 ? input->of(large) : choice % 48;
    return newBytes(std::string(size, static_cast<char>(choice)));
}

Ref anyOutput(Input* input)
{
    Ref array = anyBytes(input);
    if (array.object != nullptr)
        array.object->isOutput = true;
    return array;
}

jint anyAttribute(Input* input)
{
    constexpr CK_ATTRIBUTE_TYPE types[] = {
        // clang-format off
        CKA_TOKEN, CKA_CLASS, CKA_LABEL, CKA_VALUE, CKA_START_DATE, CKA_MODULUS, CKA_KEY_TYPE, CKA_END_DATE,
        CKA_SENSITIVE, CKA_ID, CKA_VALUE_LEN, CKA_UNIQUE_ID, CKA_BASE, CKA_WRAP_TEMPLATE, CKA_DERIVE_TEMPLATE,
        CKA_ALLOWED_MECHANISMS, CKA_HSS_LMS_TYPES, 0xFFFFFFFF
        // clang-format on
    };
    return input->oneIn(16) ? anyInt(input) : static_cast<jint>(input->of(types));
}

Ref valueOf(Input* input, jint attribute)
{
    if (input->oneIn(16))
        return anyObject(input);
    switch (attributeKind(static_cast<std::uint32_t>(attribute))) {
    case ValueKind::boolean: return numberObject("java/lang/Boolean", "booleanValue:()Z", input->byte() & 1);
    case ValueKind::integer: return numberObject("java/lang/Integer", "intValue:()I", anyInt(input));
    case ValueKind::string: return newString(std::string(input->byte(), 'x'));
    case ValueKind::date:
        return numberObject("java/util/Date", "getTime:()J", static_cast<int64_t>(input->word()) >> 12);
    case ValueKind::bigInteger: return bigInteger(input);
    case ValueKind::numbers: return newInts(std::vector<jint>(input->below(8), 7));
    case ValueKind::attributes: return input->isOver() ? Ref{} : anyTemplate(input);
    case ValueKind::bytes:
    case ValueKind::unknown: break;
    }
    return anyBytes(input);
}

Ref anyTypes(Input* input)
{
    if (input->oneIn(32))
        return {};
    std::vector<jint> types(input->oneIn(128) ? kMore : input->oneIn(16) ? kMany : input->below(kDifferent));
    for (std::size_t i = 0; i < types.size(); ++i)
        types[i] = i < kDifferent ? anyAttribute(input) : types[i % kDifferent];
    return newInts(types);
}

Ref valuesFor(Input* input, Ref types)
{
    if (types.object == nullptr || input->oneIn(32))
        return {};
    std::size_t count = types.object->bytes.size() / sizeof(jint) + (input->oneIn(32) ? 1 : 0);
    std::vector<Ref> values(count, numberObject("java/lang/Boolean", "booleanValue:()Z", 1));
    for (std::size_t i = 0; i < count; ++i) {
        jint type = 0;
        types.object->bytes.copy(reinterpret_cast<char*>(&type), sizeof type, i * sizeof type);
        values[i] = i < kDifferent ? valueOf(input, type) : values[i % kDifferent];
    }
    return newObjects(values);
}

Ref anyObject(Input* input)
{
    switch (input->below(8)) {
    case 0: return newString(std::string(input->byte(), 'p'));
    case 1: return {};
    case 2: return make("java/lang/Object");
    case 3: return numberObject("java/lang/Integer", "intValue:()I", anyInt(input));
    case 4: return bigInteger(input);
    case 5: return newObjects({});
    default: return anyBytes(input);
    }
}

MechanismValue anyMechanism(Input* input, const std::vector<Object*>& keys)
{
    constexpr CK_MECHANISM_TYPE plain[] = {
        CKM_AES_ECB,        CKM_AES_CBC,      CKM_SKIPJACK_CBC64, CKM_DES_MAC_GENERAL, CKM_EXTRACT_KEY_FROM_KEY,
        CKM_DH_PKCS_DERIVE, CKM_AES_KEY_WRAP, CKM_SHA256,         CKM_PKCS5_PBKD2,     CKM_ECMQV_DERIVE};
    if (input->oneIn(3)) {
        CK_MECHANISM_TYPE mechanism = input->of(plain);
        bool tokenMakes = mechanism == CKM_SKIPJACK_CBC64; // the vector, itself
        return {static_cast<jint>(mechanism), tokenMakes ? anyOutput(input) : anyObject(input)};
    }
    const Shape& shape = input->of(kShapes);
    auto mechanism = static_cast<jint>(input->oneIn(32) ? input->of(kShapes).mechanism : shape.mechanism);
    return {mechanism, input->oneIn(32) ? Ref{} : made(input, shape, keys)};
}

void meddle(Input* input, std::size_t kept)
{
    if (input->isOver() || input->byte() < 250 || fake.objects.size() <= kept)
        return;
    Object& object = fake.objects[kept + static_cast<std::size_t>(input->word()) % (fake.objects.size() - kept)];
    if (object.isNew || !object.text.empty())
        return; // which Java has not seen yet
    if (!object.bytes.empty()) {
        object.bytes[input->byte() % object.bytes.size()] = static_cast<char>(input->byte());
    } else if (!object.elements.empty()) {
        bool ofAny = object.type == "[Ljava/lang/Object;";
        object.elements[input->byte() % object.elements.size()] = ofAny ? anyObject(input).object : nullptr;
    } else if (!object.fields.empty()) {
        auto field = std::next(object.fields.begin(), input->below(object.fields.size()));
        const std::string kind = field->first.substr(field->first.find_last_of(":)") + 1);
        bool isReference = kind[0] == 'L' || kind[0] == '[';
        bool isBytes = kind == "[B";
        field->second = isBytes ? address(anyOutput(input)) : isReference ? 0 : anyInt(input);
    }
}
