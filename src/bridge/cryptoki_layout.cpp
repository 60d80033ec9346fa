// Pins the size of every structure that crosses to a module, and the offsets that differ from what one would guess, for
// both layouts: a Unix build, where a CK_ULONG has 8 bytes and members are aligned, and a Windows one, packed to 1 byte
// around a CK_ULONG of 4. A compiler that lays them out otherwise does not get as far as a module.

#include "bridge/cryptoki.h"

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
static_assert(layoutIs(sizeof(CK_INTERFACE),                                               24,   20));
static_assert(layoutIs(offsetof(CK_INTERFACE, flags),                                      16,   16));
static_assert(layoutIs(offsetof(CK_FUNCTION_LIST_3_2, C_LoginUser),                       568,  562));
static_assert(layoutIs(offsetof(CK_FUNCTION_LIST_3_2, C_SessionCancel),                   576,  570));
static_assert(layoutIs(offsetof(CK_FUNCTION_LIST_3_2, C_EncapsulateKey),                  744,  738));
static_assert(layoutIs(offsetof(CK_FUNCTION_LIST_3_2, C_DecapsulateKey),                  752,  746));

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

static_assert(layoutIs(sizeof(CK_X9_42_DH1_DERIVE_PARAMS),                                 40,   28));
static_assert(layoutIs(offsetof(CK_X9_42_DH1_DERIVE_PARAMS, ulOtherInfoLen),                8,    4));
static_assert(layoutIs(offsetof(CK_X9_42_DH1_DERIVE_PARAMS, pOtherInfo),                   16,    8));
static_assert(layoutIs(offsetof(CK_X9_42_DH1_DERIVE_PARAMS, ulPublicDataLen),              24,   16));
static_assert(layoutIs(offsetof(CK_X9_42_DH1_DERIVE_PARAMS, pPublicData),                  32,   20));
static_assert(layoutIs(sizeof(CK_X9_42_DH2_DERIVE_PARAMS),                                 72,   48));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, ulOtherInfoLen),                8,    4));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, pOtherInfo),                   16,    8));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, ulPublicDataLen),              24,   16));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, pPublicData),                  32,   20));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, ulPrivateDataLen),             40,   28));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, hPrivateData),                 48,   32));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, ulPublicDataLen2),             56,   36));
static_assert(layoutIs(offsetof(CK_X9_42_DH2_DERIVE_PARAMS, pPublicData2),                 64,   40));
static_assert(layoutIs(sizeof(CK_X9_42_MQV_DERIVE_PARAMS),                                 80,   52));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, ulOtherInfoLen),                8,    4));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, OtherInfo),                    16,    8));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, ulPublicDataLen),              24,   16));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, PublicData),                   32,   20));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, ulPrivateDataLen),             40,   28));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, hPrivateData),                 48,   32));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, ulPublicDataLen2),             56,   36));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, PublicData2),                  64,   40));
static_assert(layoutIs(offsetof(CK_X9_42_MQV_DERIVE_PARAMS, publicKey),                    72,   48));
static_assert(layoutIs(sizeof(CK_TLS12_MASTER_KEY_DERIVE_PARAMS),                          48,   36));
static_assert(layoutIs(offsetof(CK_TLS12_MASTER_KEY_DERIVE_PARAMS, pVersion),              32,   24));
static_assert(layoutIs(offsetof(CK_TLS12_MASTER_KEY_DERIVE_PARAMS, prfHashMechanism),      40,   32));
static_assert(layoutIs(sizeof(CK_TLS12_KEY_MAT_PARAMS),                                    80,   49));
static_assert(layoutIs(offsetof(CK_TLS12_KEY_MAT_PARAMS, ulKeySizeInBits),                  8,    4));
static_assert(layoutIs(offsetof(CK_TLS12_KEY_MAT_PARAMS, ulIVSizeInBits),                  16,    8));
static_assert(layoutIs(offsetof(CK_TLS12_KEY_MAT_PARAMS, bIsExport),                       24,   12));
static_assert(layoutIs(offsetof(CK_TLS12_KEY_MAT_PARAMS, RandomInfo),                      32,   13));
static_assert(layoutIs(offsetof(CK_TLS12_KEY_MAT_PARAMS, pReturnedKeyMaterial),            64,   37));
static_assert(layoutIs(offsetof(CK_TLS12_KEY_MAT_PARAMS, prfHashMechanism),                72,   45));
static_assert(layoutIs(sizeof(CK_TLS_KDF_PARAMS),                                          72,   52));
static_assert(layoutIs(offsetof(CK_TLS_KDF_PARAMS, pLabel),                                 8,    4));
static_assert(layoutIs(offsetof(CK_TLS_KDF_PARAMS, ulLabelLength),                         16,   12));
static_assert(layoutIs(offsetof(CK_TLS_KDF_PARAMS, RandomInfo),                            24,   16));
static_assert(layoutIs(offsetof(CK_TLS_KDF_PARAMS, pContextData),                          56,   40));
static_assert(layoutIs(offsetof(CK_TLS_KDF_PARAMS, ulContextDataLength),                   64,   48));
static_assert(layoutIs(sizeof(CK_TLS_MAC_PARAMS),                                          24,   12));
static_assert(layoutIs(offsetof(CK_TLS_MAC_PARAMS, ulMacLength),                            8,    4));
static_assert(layoutIs(offsetof(CK_TLS_MAC_PARAMS, ulServerOrClient),                      16,    8));
static_assert(layoutIs(sizeof(CK_CHACHA20_PARAMS),                                         32,   24));
static_assert(layoutIs(offsetof(CK_CHACHA20_PARAMS, blockCounterBits),                      8,    8));
static_assert(layoutIs(offsetof(CK_CHACHA20_PARAMS, pNonce),                               16,   12));
static_assert(layoutIs(offsetof(CK_CHACHA20_PARAMS, ulNonceBits),                          24,   20));
static_assert(layoutIs(sizeof(CK_SALSA20_PARAMS),                                          24,   20));
static_assert(layoutIs(offsetof(CK_SALSA20_PARAMS, pNonce),                                 8,    8));
static_assert(layoutIs(offsetof(CK_SALSA20_PARAMS, ulNonceBits),                           16,   16));
static_assert(layoutIs(sizeof(CK_XEDDSA_PARAMS),                                            8,    4));
static_assert(layoutIs(sizeof(CK_PRF_DATA_PARAM),                                          24,   16));
static_assert(layoutIs(offsetof(CK_PRF_DATA_PARAM, pValue),                                 8,    4));
static_assert(layoutIs(offsetof(CK_PRF_DATA_PARAM, ulValueLen),                            16,   12));
static_assert(layoutIs(sizeof(CK_SP800_108_COUNTER_FORMAT),                                16,    5));
static_assert(layoutIs(offsetof(CK_SP800_108_COUNTER_FORMAT, ulWidthInBits),                8,    1));
static_assert(layoutIs(sizeof(CK_SP800_108_DKM_LENGTH_FORMAT),                             24,    9));
static_assert(layoutIs(offsetof(CK_SP800_108_DKM_LENGTH_FORMAT, bLittleEndian),             8,    4));
static_assert(layoutIs(offsetof(CK_SP800_108_DKM_LENGTH_FORMAT, ulWidthInBits),            16,    5));
static_assert(layoutIs(sizeof(CK_DERIVED_KEY),                                             24,   20));
static_assert(layoutIs(offsetof(CK_DERIVED_KEY, ulAttributeCount),                          8,    8));
static_assert(layoutIs(offsetof(CK_DERIVED_KEY, phKey),                                    16,   12));
static_assert(layoutIs(sizeof(CK_SP800_108_KDF_PARAMS),                                    40,   28));
static_assert(layoutIs(offsetof(CK_SP800_108_KDF_PARAMS, ulNumberOfDataParams),             8,    4));
static_assert(layoutIs(offsetof(CK_SP800_108_KDF_PARAMS, pDataParams),                     16,    8));
static_assert(layoutIs(offsetof(CK_SP800_108_KDF_PARAMS, ulAdditionalDerivedKeys),         24,   16));
static_assert(layoutIs(offsetof(CK_SP800_108_KDF_PARAMS, pAdditionalDerivedKeys),          32,   20));
static_assert(layoutIs(sizeof(CK_SP800_108_FEEDBACK_KDF_PARAMS),                           56,   40));
static_assert(layoutIs(offsetof(CK_SP800_108_FEEDBACK_KDF_PARAMS, ulNumberOfDataParams),    8,    4));
static_assert(layoutIs(offsetof(CK_SP800_108_FEEDBACK_KDF_PARAMS, pDataParams),            16,    8));
static_assert(layoutIs(offsetof(CK_SP800_108_FEEDBACK_KDF_PARAMS, ulIVLen),                24,   16));
static_assert(layoutIs(offsetof(CK_SP800_108_FEEDBACK_KDF_PARAMS, pIV),                    32,   20));
static_assert(layoutIs(offsetof(CK_SP800_108_FEEDBACK_KDF_PARAMS, ulAdditionalDerivedKeys),  40,   28));
static_assert(layoutIs(offsetof(CK_SP800_108_FEEDBACK_KDF_PARAMS, pAdditionalDerivedKeys),  48,   32));
static_assert(layoutIs(sizeof(CK_SIGN_ADDITIONAL_CONTEXT),                                 24,   16));
static_assert(layoutIs(offsetof(CK_SIGN_ADDITIONAL_CONTEXT, pContext),                      8,    4));
static_assert(layoutIs(offsetof(CK_SIGN_ADDITIONAL_CONTEXT, ulContextLen),                 16,   12));
static_assert(layoutIs(sizeof(CK_HASH_SIGN_ADDITIONAL_CONTEXT),                            32,   20));
static_assert(layoutIs(offsetof(CK_HASH_SIGN_ADDITIONAL_CONTEXT, pContext),                 8,    4));
static_assert(layoutIs(offsetof(CK_HASH_SIGN_ADDITIONAL_CONTEXT, ulContextLen),            16,   12));
static_assert(layoutIs(offsetof(CK_HASH_SIGN_ADDITIONAL_CONTEXT, hash),                    24,   16));
static_assert(layoutIs(sizeof(CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS),                 32,   24));
static_assert(layoutIs(offsetof(CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS, pSessionHash),   8,    4));
static_assert(layoutIs(offsetof(CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS, ulSessionHashLen),  16,   12));
static_assert(layoutIs(offsetof(CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS, pVersion),     24,   16));
// clang-format on

} // namespace
