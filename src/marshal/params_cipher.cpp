// Parameters of ciphers and password-based key generation.

#include "marshal/parameters.h"

namespace {

bool rc2Fields(ParameterFields* java, CK_RC2_PARAMS* effectiveBits)
{
    return readUlong(java, "bits", effectiveBits);
}

bool rc2CBCFields(ParameterFields* java, CK_RC2_CBC_PARAMS* rc2)
{
    // The rest of a shorter vector stays zero.
    return readUlong(java, "bits", &rc2->ulEffectiveBits) && readBytes(java, "iv", rc2->iv, sizeof rc2->iv, 0);
}

bool rc2MacGeneralFields(ParameterFields* java, CK_RC2_MAC_GENERAL_PARAMS* rc2)
{
    return readUlong(java, "bits", &rc2->ulEffectiveBits) && readUlong(java, "macLength", &rc2->ulMacLength);
}

bool rc5Fields(ParameterFields* java, CK_RC5_PARAMS* rc5)
{
    return readUlong(java, "wordSize", &rc5->ulWordsize) && readUlong(java, "rounds", &rc5->ulRounds);
}

bool rc5CBCFields(ParameterFields* java, CK_RC5_CBC_PARAMS* rc5)
{
    return readUlong(java, "wordSize", &rc5->ulWordsize) && readUlong(java, "rounds", &rc5->ulRounds) &&
           placeBlock(java, "iv", &rc5->pIv, &rc5->ulIvLen);
}

bool rc5MacGeneralFields(ParameterFields* java, CK_RC5_MAC_GENERAL_PARAMS* rc5)
{
    return readUlong(java, "wordSize", &rc5->ulWordsize) && readUlong(java, "rounds", &rc5->ulRounds) &&
           readUlong(java, "macLength", &rc5->ulMacLength);
}

bool pbeFields(ParameterFields* java, CK_PBE_PARAMS* pbe)
{
    // The token writes a whole IV, even if the Java array is shorter.
    java->used += isSizing(java) ? kPBEInitVector : 0;
    return placeBlock(java, "iv", &pbe->pInitVector, nullptr) &&
           placeBlock(java, "password", &pbe->pPassword, &pbe->ulPasswordLen) &&
           placeBlock(java, "salt", &pbe->pSalt, &pbe->ulSaltLen) && readUlong(java, "iterations", &pbe->ulIteration);
}

// Where the structure has the length of the IV in bits too.
template <typename Gcm>
void setIvBits(Gcm* gcm)
{
    if constexpr (requires { gcm->ulIvBits; })
        gcm->ulIvBits = 8 * gcm->ulIvLen;
}

bool gcmFields(ParameterFields* java, CK_GCM_PARAMS* gcm)
{
    if (!placeBlock(java, "pIv", &gcm->pIv, nullptr) || !readUlong(java, "ulIvLen", &gcm->ulIvLen))
        return false;

    // The AAD is placed at the Java field ulIvLen, not behind the array: with a smaller ulIvLen it overwrites the end
    // of the IV.
    setIvBits(gcm);
    return placeBlockAt(java, "pAAD", gcm->ulIvLen, &gcm->pAAD) && readUlong(java, "ulAADLen", &gcm->ulAADLen) &&
           checkInside(java, gcm->ulIvLen, gcm->ulAADLen) && readUlong(java, "ulTagBits", &gcm->ulTagBits);
}

bool aesCtrFields(ParameterFields* java, CK_AES_CTR_PARAMS* ctr)
{
    return readUlong(java, "ulCounterBits", &ctr->ulCounterBits) &&
           readBytes(java, "cb", ctr->cb, sizeof ctr->cb, sizeof ctr->cb);
}

bool ccmFields(ParameterFields* java, CK_CCM_PARAMS* ccm)
{
    return readUlong(java, "ulDataLen", &ccm->ulDataLen) &&
           placeBlockOrNull(java, "pNonce", &ccm->pNonce, &ccm->ulNonceLen) &&
           placeBlockOrNull(java, "pAAD", &ccm->pAAD, &ccm->ulAADLen) && readUlong(java, "ulMACLen", &ccm->ulMACLen);
}

bool poly1305Fields(ParameterFields* java, CK_SALSA20_CHACHA20_POLY1305_PARAMS* poly1305)
{
    return placeBlockOrNull(java, "pNonce", &poly1305->pNonce, &poly1305->ulNonceLen) &&
           placeBlockOrNull(java, "pAAD", &poly1305->pAAD, &poly1305->ulAADLen);
}

// The structure has the lengths of the counter and the nonce in bits.
bool chaCha20Fields(ParameterFields* java, CK_CHACHA20_PARAMS* chaCha20)
{
    bool done = placeBlockOrNull(java, "pBlockCounter", &chaCha20->pBlockCounter, &chaCha20->blockCounterBits) &&
                placeBlockOrNull(java, "pNonce", &chaCha20->pNonce, &chaCha20->ulNonceBits);
    chaCha20->blockCounterBits *= 8;
    chaCha20->ulNonceBits *= 8;
    return done;
}

bool salsa20Fields(ParameterFields* java, CK_SALSA20_PARAMS* salsa20)
{
    constexpr CK_ULONG kCounterSize = 8; // the structure has no field for it
    CK_ULONG counterSize = 0;
    bool done = placeBlockOrNull(java, "pBlockCounter", &salsa20->pBlockCounter, &counterSize) &&
                checkParameter(java, counterSize == kCounterSize) &&
                placeBlockOrNull(java, "pNonce", &salsa20->pNonce, &salsa20->ulNonceBits);
    salsa20->ulNonceBits *= 8;
    return done;
}

} // namespace

constexpr ParameterDescriptor kRC2 = describe<CK_RC2_PARAMS, rc2Fields>("com/kelvane/pkcs11/PKCS11MechPar_RC2");
constexpr ParameterDescriptor kRC2CBC =
    describe<CK_RC2_CBC_PARAMS, rc2CBCFields>("com/kelvane/pkcs11/PKCS11MechPar_RC2_CBC");
constexpr ParameterDescriptor kRC2MacGeneral =
    describe<CK_RC2_MAC_GENERAL_PARAMS, rc2MacGeneralFields>("com/kelvane/pkcs11/PKCS11MechPar_RC2_GENMAC");
constexpr ParameterDescriptor kRC5 = describe<CK_RC5_PARAMS, rc5Fields>("com/kelvane/pkcs11/PKCS11MechPar_RC5");
constexpr ParameterDescriptor kRC5CBC =
    describe<CK_RC5_CBC_PARAMS, rc5CBCFields>("com/kelvane/pkcs11/PKCS11MechPar_RC5_CBC");
constexpr ParameterDescriptor kRC5MacGeneral =
    describe<CK_RC5_MAC_GENERAL_PARAMS, rc5MacGeneralFields>("com/kelvane/pkcs11/PKCS11MechPar_RC5_GENMAC");
constexpr ParameterDescriptor kPBE =
    describe<CK_PBE_PARAMS, pbeFields>("com/kelvane/pkcs11/PKCS11MechPar_PBE", NullPolicy::reject, &kPBEOutput);
constexpr ParameterDescriptor kGCM = describe<CK_GCM_PARAMS, gcmFields>("com/kelvane/pkcs11/CK_GCM_PARAMS");
constexpr ParameterDescriptor kAesCtr =
    describe<CK_AES_CTR_PARAMS, aesCtrFields>("com/kelvane/pkcs11/CK_AES_CTR_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kCcm =
    describe<CK_CCM_PARAMS, ccmFields>("com/kelvane/pkcs11/CK_CCM_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kPoly1305 = describe<CK_SALSA20_CHACHA20_POLY1305_PARAMS, poly1305Fields>(
    "com/kelvane/pkcs11/CK_SALSA20_CHACHA20_POLY1305_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kChaCha20 =
    describe<CK_CHACHA20_PARAMS, chaCha20Fields>("com/kelvane/pkcs11/CK_CHACHA20_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kSalsa20 =
    describe<CK_SALSA20_PARAMS, salsa20Fields>("com/kelvane/pkcs11/CK_SALSA20_PARAMS", NullPolicy::omit);
