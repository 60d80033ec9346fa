// Pins the size of every structure that crosses to a module, and the offsets that differ from what one would guess, for
// both layouts: a Unix build, where a CK_ULONG has 8 bytes and members are aligned, and a Windows one, packed to 1 byte
// around a CK_ULONG of 4. A compiler that lays them out otherwise does not get as far as a module.

#include "cryptoki.h"

namespace {

constexpr bool layoutIs(std::size_t measured, std::size_t onUnix, std::size_t onWindows)
{
    return measured == (kPacked ? onWindows : onUnix);
}

// clang-format off
//                                                                                    Unix Windows
static_assert(layoutIs(sizeof(CK_ULONG),                                                    8,    4));
static_assert(layoutIs(sizeof(CK_VERSION),                                                  2,    2));
static_assert(layoutIs(sizeof(CK_DATE),                                                     8,    8));

static_assert(layoutIs(sizeof(CK_INFO),                                                    88,   72));
static_assert(layoutIs(offsetof(CK_INFO, flags),                                           40,   34));
static_assert(layoutIs(offsetof(CK_INFO, libraryVersion),                                  80,   70));
static_assert(layoutIs(sizeof(CK_SLOT_INFO),                                              112,  104));
static_assert(layoutIs(offsetof(CK_SLOT_INFO, firmwareVersion),                           106,  102));
static_assert(layoutIs(sizeof(CK_TOKEN_INFO),                                             208,  160));
static_assert(layoutIs(offsetof(CK_TOKEN_INFO, flags),                                     96,   96));
static_assert(layoutIs(offsetof(CK_TOKEN_INFO, utcTime),                                  188,  144));
static_assert(layoutIs(sizeof(CK_SESSION_INFO),                                            32,   16));
static_assert(layoutIs(sizeof(CK_MECHANISM_INFO),                                          24,   12));
static_assert(layoutIs(sizeof(CK_C_INITIALIZE_ARGS),                                       48,   44));
static_assert(layoutIs(offsetof(CK_C_INITIALIZE_ARGS, pReserved),                          40,   36));

static_assert(layoutIs(sizeof(CK_ATTRIBUTE),                                               24,   16));
static_assert(layoutIs(offsetof(CK_ATTRIBUTE, pValue),                                      8,    4));
static_assert(layoutIs(offsetof(CK_ATTRIBUTE, ulValueLen),                                 16,   12));

static_assert(layoutIs(sizeof(CK_MECHANISM),                                               24,   16));
static_assert(layoutIs(offsetof(CK_MECHANISM, pParameter),                                  8,    4));
static_assert(layoutIs(offsetof(CK_MECHANISM, ulParameterLen),                             16,   12));

static_assert(layoutIs(offsetof(CK_FUNCTION_LIST, C_Initialize),                            8,    2));
static_assert(layoutIs(offsetof(CK_FUNCTION_LIST, C_WaitForSlotEvent),                    544,  538));
static_assert(layoutIs(sizeof(CK_FUNCTION_LIST),                                          552,  546));

static_assert(layoutIs(sizeof(CK_RC2_PARAMS),                                               8,    4));
static_assert(layoutIs(sizeof(CK_RC2_CBC_PARAMS),                                          16,   12));
static_assert(layoutIs(offsetof(CK_RC2_CBC_PARAMS, iv),                                     8,    4));
static_assert(layoutIs(sizeof(CK_RC2_MAC_GENERAL_PARAMS),                                  16,    8));
static_assert(layoutIs(sizeof(CK_RC5_PARAMS),                                              16,    8));
static_assert(layoutIs(sizeof(CK_RC5_CBC_PARAMS),                                          32,   20));
static_assert(layoutIs(offsetof(CK_RC5_CBC_PARAMS, pIv),                                   16,    8));
static_assert(layoutIs(offsetof(CK_RC5_CBC_PARAMS, ulIvLen),                               24,   16));
static_assert(layoutIs(sizeof(CK_RC5_MAC_GENERAL_PARAMS),                                  24,   12));

static_assert(layoutIs(sizeof(CK_PBE_PARAMS),                                              48,   36));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, pPassword),                                  8,    8));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, ulPasswordLen),                             16,   16));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, pSalt),                                     24,   20));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, ulSaltLen),                                 32,   28));
static_assert(layoutIs(offsetof(CK_PBE_PARAMS, ulIteration),                               40,   32));

static_assert(layoutIs(sizeof(CK_GCM_PARAMS),                                              48,   28));
static_assert(layoutIs(offsetof(CK_GCM_PARAMS, ulIvLen),                                    8,    8));
static_assert(layoutIs(offsetof(CK_GCM_PARAMS, pAAD),                                      24,   12));
static_assert(layoutIs(offsetof(CK_GCM_PARAMS, ulAADLen),                                  32,   20));
static_assert(layoutIs(offsetof(CK_GCM_PARAMS, ulTagBits),                                 40,   24));

static_assert(layoutIs(sizeof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS),                           40,   32));
static_assert(layoutIs(offsetof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS, RandomInfo.pServerRandom),  16,   12));
static_assert(layoutIs(offsetof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS, pVersion),               32,   24));
static_assert(layoutIs(sizeof(CK_SSL3_KEY_MAT_OUT),                                        48,   32));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_OUT, pIVClient),                           32,   16));
static_assert(layoutIs(sizeof(CK_SSL3_KEY_MAT_PARAMS),                                     72,   45));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_PARAMS, bIsExport),                        24,   12));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_PARAMS, RandomInfo),                       32,   13));
static_assert(layoutIs(offsetof(CK_SSL3_KEY_MAT_PARAMS, pReturnedKeyMaterial),             64,   37));

static_assert(layoutIs(sizeof(CK_TLS_PRF_PARAMS),                                          48,   40));
static_assert(layoutIs(offsetof(CK_TLS_PRF_PARAMS, pLabel),                                16,   12));
static_assert(layoutIs(offsetof(CK_TLS_PRF_PARAMS, pOutput),                               32,   24));
static_assert(layoutIs(offsetof(CK_TLS_PRF_PARAMS, pulOutputLen),                          40,   32));

static_assert(layoutIs(sizeof(CK_ECDH1_DERIVE_PARAMS),                                     40,   28));
static_assert(layoutIs(offsetof(CK_ECDH1_DERIVE_PARAMS, ulSharedDataLen),                   8,    4));
static_assert(layoutIs(offsetof(CK_ECDH1_DERIVE_PARAMS, pPublicData),                      32,   20));
static_assert(layoutIs(sizeof(CK_RSA_PKCS_OAEP_PARAMS),                                    40,   24));
static_assert(layoutIs(offsetof(CK_RSA_PKCS_OAEP_PARAMS, pSourceData),                     24,   12));
static_assert(layoutIs(offsetof(CK_RSA_PKCS_OAEP_PARAMS, ulSourceDataLen),                 32,   20));
static_assert(layoutIs(sizeof(CK_RSA_PKCS_PSS_PARAMS),                                     24,   12));

static_assert(layoutIs(sizeof(CK_AES_CTR_PARAMS),                                          24,   20));
static_assert(layoutIs(offsetof(CK_AES_CTR_PARAMS, cb),                                     8,    4));
static_assert(layoutIs(sizeof(CK_CCM_PARAMS),                                              48,   32));
static_assert(layoutIs(offsetof(CK_CCM_PARAMS, pNonce),                                     8,    4));
static_assert(layoutIs(offsetof(CK_CCM_PARAMS, ulNonceLen),                                16,   12));
static_assert(layoutIs(offsetof(CK_CCM_PARAMS, pAAD),                                      24,   16));
static_assert(layoutIs(offsetof(CK_CCM_PARAMS, ulAADLen),                                  32,   24));
static_assert(layoutIs(offsetof(CK_CCM_PARAMS, ulMACLen),                                  40,   28));
static_assert(layoutIs(sizeof(CK_KEY_DERIVATION_STRING_DATA),                              16,   12));
static_assert(layoutIs(offsetof(CK_KEY_DERIVATION_STRING_DATA, ulLen),                      8,    8));
static_assert(layoutIs(sizeof(CK_DES_CBC_ENCRYPT_DATA_PARAMS),                             24,   20));
static_assert(layoutIs(offsetof(CK_DES_CBC_ENCRYPT_DATA_PARAMS, pData),                     8,    8));
static_assert(layoutIs(offsetof(CK_DES_CBC_ENCRYPT_DATA_PARAMS, length),                   16,   16));
static_assert(layoutIs(sizeof(CK_AES_CBC_ENCRYPT_DATA_PARAMS),                             32,   28));
static_assert(layoutIs(offsetof(CK_AES_CBC_ENCRYPT_DATA_PARAMS, pData),                    16,   16));
static_assert(layoutIs(offsetof(CK_AES_CBC_ENCRYPT_DATA_PARAMS, length),                   24,   24));
static_assert(layoutIs(sizeof(CK_RSA_AES_KEY_WRAP_PARAMS),                                 16,   12));
static_assert(layoutIs(offsetof(CK_RSA_AES_KEY_WRAP_PARAMS, pOAEPParams),                   8,    4));
static_assert(layoutIs(sizeof(CK_ECDH_AES_KEY_WRAP_PARAMS),                                32,   20));
static_assert(layoutIs(offsetof(CK_ECDH_AES_KEY_WRAP_PARAMS, kdf),                          8,    4));
static_assert(layoutIs(offsetof(CK_ECDH_AES_KEY_WRAP_PARAMS, ulSharedDataLen),             16,    8));
static_assert(layoutIs(offsetof(CK_ECDH_AES_KEY_WRAP_PARAMS, pSharedData),                 24,   12));
static_assert(layoutIs(sizeof(CK_EDDSA_PARAMS),                                            24,   13));
static_assert(layoutIs(offsetof(CK_EDDSA_PARAMS, ulContextDataLen),                         8,    1));
static_assert(layoutIs(offsetof(CK_EDDSA_PARAMS, pContextData),                            16,    5));
static_assert(layoutIs(sizeof(CK_SALSA20_CHACHA20_POLY1305_PARAMS),                        32,   24));
static_assert(layoutIs(offsetof(CK_SALSA20_CHACHA20_POLY1305_PARAMS, ulNonceLen),           8,    8));
static_assert(layoutIs(offsetof(CK_SALSA20_CHACHA20_POLY1305_PARAMS, pAAD),                16,   12));
static_assert(layoutIs(offsetof(CK_SALSA20_CHACHA20_POLY1305_PARAMS, ulAADLen),            24,   20));
static_assert(layoutIs(sizeof(CK_HKDF_PARAMS),                                             64,   38));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, bExpand),                                   1,    1));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, prfHashMechanism),                          8,    2));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, ulSaltType),                               16,    6));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, pSalt),                                    24,   10));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, ulSaltLen),                                32,   18));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, hSaltKey),                                 40,   22));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, pInfo),                                    48,   26));
static_assert(layoutIs(offsetof(CK_HKDF_PARAMS, ulInfoLen),                                56,   34));
// clang-format on

} // namespace
