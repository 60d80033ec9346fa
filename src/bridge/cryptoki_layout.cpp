// Pins the size of every structure that crosses to a module, and the offsets that differ from what one would guess, for
// both layouts: a Unix build, where a CK_ULONG has 8 bytes and members are aligned, and a Windows one, packed to 1 byte
// around a CK_ULONG of 4. A compiler or header that lays them out otherwise does not get as far as a module.

#include "cryptoki.h"

namespace {

constexpr bool layoutIs(std::size_t measured, std::size_t onUnix, std::size_t onWindows)
{
    return measured == (sizeof(CK_ULONG) == 8 ? onUnix : onWindows);
}

// clang-format off
//                                                                                        Unix  Windows
static_assert(layoutIs(sizeof(CK_ULONG),                                                     8,    4));
static_assert(layoutIs(sizeof(CK_VERSION),                                                   2,    2));
static_assert(layoutIs(sizeof(CK_DATE),                                                      8,    8));

static_assert(layoutIs(sizeof(CK_ATTRIBUTE),                                                24,   16));
static_assert(layoutIs(offsetof(CK_ATTRIBUTE, pValue),                                       8,    4));
static_assert(layoutIs(offsetof(CK_ATTRIBUTE, ulValueLen),                                  16,   12));

static_assert(layoutIs(sizeof(CK_MECHANISM),                                                24,   16));
static_assert(layoutIs(offsetof(CK_MECHANISM, pParameter),                                   8,    4));
static_assert(layoutIs(offsetof(CK_MECHANISM, ulParameterLen),                              16,   12));

static_assert(layoutIs(offsetof(CK_FUNCTION_LIST, C_Initialize),                             8,    2));
static_assert(layoutIs(offsetof(CK_FUNCTION_LIST, C_WaitForSlotEvent),                     544,  538));
static_assert(layoutIs(sizeof(CK_FUNCTION_LIST),                                           552,  546));

static_assert(layoutIs(sizeof(CK_RC2_PARAMS),                                                8,    4));
static_assert(layoutIs(sizeof(CK_RC2_CBC_PARAMS),                                           16,   12));
static_assert(layoutIs(offsetof(CK_RC2_CBC_PARAMS, iv),                                      8,    4));
static_assert(layoutIs(sizeof(CK_RC2_MAC_GENERAL_PARAMS),                                   16,    8));
static_assert(layoutIs(sizeof(CK_RC5_PARAMS),                                               16,    8));
static_assert(layoutIs(sizeof(CK_RC5_CBC_PARAMS),                                           32,   20));
static_assert(layoutIs(offsetof(CK_RC5_CBC_PARAMS, pIv),                                    16,    8));
static_assert(layoutIs(offsetof(CK_RC5_CBC_PARAMS, ulIvLen),                                24,   16));
static_assert(layoutIs(sizeof(CK_RC5_MAC_GENERAL_PARAMS),                                   24,   12));

static_assert(layoutIs(sizeof(CK_PBE_PARAMS),                                               48,   36));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, pPassword),                                   8,    8));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, ulPasswordLen),                              16,   16));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, pSalt),                                      24,   20));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, ulSaltLen),                                  32,   28));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, ulIteration),                                40,   32));

static_assert(layoutIs(sizeof(GcmParams),                                                   48,   28));
static_assert(layoutIs(offsetof(GcmParams, ulIvLen),                                         8,    8));
static_assert(layoutIs(offsetof(GcmParams, pAAD),                                           24,   12));
static_assert(layoutIs(offsetof(GcmParams, ulAADLen),                                       32,   20));
static_assert(layoutIs(offsetof(GcmParams, ulTagBits),                                      40,   24));

static_assert(layoutIs(sizeof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS),                            40,   32));
static_assert(layoutIs(offsetof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS, RandomInfo.pServerRandom),16,   12));
static_assert(layoutIs(offsetof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS, pVersion),                32,   24));
static_assert(layoutIs(sizeof(CK_SSL3_KEY_MAT_OUT),                                         48,   32));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_OUT, pIVClient),                            32,   16));
static_assert(layoutIs(sizeof(CK_SSL3_KEY_MAT_PARAMS),                                      72,   45));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_PARAMS, bIsExport),                         24,   12));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_PARAMS, RandomInfo),                        32,   13));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_PARAMS, pReturnedKeyMaterial),              64,   37));

static_assert(layoutIs(sizeof(CK_TLS_PRF_PARAMS),                                           48,   40));
static_assert(layoutIs(offsetof(CK_TLS_PRF_PARAMS, pLabel),                                 16,   12));
static_assert(layoutIs(offsetof(CK_TLS_PRF_PARAMS, pOutput),                                32,   24));
static_assert(layoutIs(offsetof(CK_TLS_PRF_PARAMS, pulOutputLen),                           40,   32));

static_assert(layoutIs(sizeof(CK_ECDH1_DERIVE_PARAMS),                                      40,   28));
static_assert(layoutIs(offsetof(CK_ECDH1_DERIVE_PARAMS, ulSharedDataLen),                    8,    4));
static_assert(layoutIs(offsetof(CK_ECDH1_DERIVE_PARAMS, pPublicData),                       32,   20));
static_assert(layoutIs(sizeof(CK_RSA_PKCS_OAEP_PARAMS),                                     40,   24));
static_assert(layoutIs(offsetof(CK_RSA_PKCS_OAEP_PARAMS, pSourceData),                      24,   12));
static_assert(layoutIs(offsetof(CK_RSA_PKCS_OAEP_PARAMS, ulSourceDataLen),                  32,   20));
static_assert(layoutIs(sizeof(CK_RSA_PKCS_PSS_PARAMS),                                      24,   12));

static_assert(layoutIs(sizeof(CK_AES_CTR_PARAMS),                                          24,   20));
static_assert(layoutIs(offsetof(CK_AES_CTR_PARAMS, cb),                                     8,    4));
static_assert(layoutIs(sizeof(CcmParams),                                                  48,   32));
static_assert(layoutIs(offsetof(CcmParams, pNonce),                                         8,    4));
static_assert(layoutIs(offsetof(CcmParams, ulNonceLen),                                    16,   12));
static_assert(layoutIs(offsetof(CcmParams, pAAD),                                          24,   16));
static_assert(layoutIs(offsetof(CcmParams, ulAADLen),                                      32,   24));
static_assert(layoutIs(offsetof(CcmParams, ulMACLen),                                      40,   28));
static_assert(layoutIs(sizeof(CK_KEY_DERIVATION_STRING_DATA),                              16,   12));
static_assert(layoutIs(offsetof(CK_KEY_DERIVATION_STRING_DATA, ulLen),                      8,    8));
static_assert(layoutIs(sizeof(CK_DES_CBC_ENCRYPT_DATA_PARAMS),                             24,   20));
static_assert(layoutIs(offsetof(CK_DES_CBC_ENCRYPT_DATA_PARAMS, pData),                     8,    8));
static_assert(layoutIs(offsetof(CK_DES_CBC_ENCRYPT_DATA_PARAMS, length),                   16,   16));
static_assert(layoutIs(sizeof(CK_AES_CBC_ENCRYPT_DATA_PARAMS),                             32,   28));
static_assert(layoutIs(offsetof(CK_AES_CBC_ENCRYPT_DATA_PARAMS, pData),                    16,   16));
static_assert(layoutIs(offsetof(CK_AES_CBC_ENCRYPT_DATA_PARAMS, length),                   24,   24));
static_assert(layoutIs(sizeof(RsaAesKeyWrapParams),                                        16,   12));
static_assert(layoutIs(offsetof(RsaAesKeyWrapParams, pOAEPParams),                          8,    4));
static_assert(layoutIs(sizeof(EcdhAesKeyWrapParams),                                       32,   20));
static_assert(layoutIs(offsetof(EcdhAesKeyWrapParams, kdf),                                 8,    4));
static_assert(layoutIs(offsetof(EcdhAesKeyWrapParams, ulSharedDataLen),                    16,    8));
static_assert(layoutIs(offsetof(EcdhAesKeyWrapParams, pSharedData),                        24,   12));
static_assert(layoutIs(sizeof(EddsaParams),                                                24,   13));
static_assert(layoutIs(offsetof(EddsaParams, ulContextDataLen),                             8,    1));
static_assert(layoutIs(offsetof(EddsaParams, pContextData),                                16,    5));
static_assert(layoutIs(sizeof(Poly1305Params),                                             32,   24));
static_assert(layoutIs(offsetof(Poly1305Params, ulNonceLen),                                8,    8));
static_assert(layoutIs(offsetof(Poly1305Params, pAAD),                                     16,   12));
static_assert(layoutIs(offsetof(Poly1305Params, ulAADLen),                                 24,   20));
static_assert(layoutIs(sizeof(HkdfParams),                                                 64,   38));
static_assert(layoutIs(offsetof(HkdfParams, bExpand),                                       1,    1));
static_assert(layoutIs(offsetof(HkdfParams, prfHashMechanism),                              8,    2));
static_assert(layoutIs(offsetof(HkdfParams, ulSaltType),                                   16,    6));
static_assert(layoutIs(offsetof(HkdfParams, pSalt),                                        24,   10));
static_assert(layoutIs(offsetof(HkdfParams, ulSaltLen),                                    32,   18));
static_assert(layoutIs(offsetof(HkdfParams, hSaltKey),                                     40,   22));
static_assert(layoutIs(offsetof(HkdfParams, pInfo),                                        48,   26));
static_assert(layoutIs(offsetof(HkdfParams, ulInfoLen),                                    56,   34));
// clang-format on

} // namespace
