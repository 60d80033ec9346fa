#include "marshal/mechanism_table.h"

#include <iterator>

#include "marshal/parameters.h"
#include "marshal/sorted_rows.h"

namespace {

struct MechanismRow
{
    CK_MECHANISM_TYPE mechanism;
    const ParameterDescriptor* descriptor;
};

// The parameter of each mechanism. The first row with a type wins. The CAST5 mechanisms have a second name, CAST128,
// and a row under each, so that a search finds both names.
constexpr MechanismRow MechanismParameterTable[] = {
    // clang-format off
    // No parameter
    { CKM_RSA_PKCS_KEY_PAIR_GEN,                 &kNone                         },
    { CKM_RSA_PKCS,                              &kNone                         },
    { CKM_RSA_9796,                              &kNone                         },
    { CKM_RSA_X_509,                             &kNone                         },
    { CKM_MD2_RSA_PKCS,                          &kNone                         },
    { CKM_MD5_RSA_PKCS,                          &kNone                         },
    { CKM_SHA1_RSA_PKCS,                         &kNone                         },
    { CKM_RIPEMD128_RSA_PKCS,                    &kNone                         },
    { CKM_RIPEMD160_RSA_PKCS,                    &kNone                         },
    { CKM_DSA_KEY_PAIR_GEN,                      &kNone                         },
    { CKM_DSA,                                   &kNone                         },
    { CKM_DSA_SHA1,                              &kNone                         },
    { CKM_DH_PKCS_KEY_PAIR_GEN,                  &kNone                         },
    { CKM_RC2_KEY_GEN,                           &kNone                         },
    { CKM_RC4_KEY_GEN,                           &kNone                         },
    { CKM_RC4,                                   &kNone                         },
    { CKM_DES_KEY_GEN,                           &kNone                         },
    { CKM_DES_ECB,                               &kNone                         },
    { CKM_DES_MAC,                               &kNone                         },
    { CKM_DES2_KEY_GEN,                          &kNone                         },
    { CKM_DES3_KEY_GEN,                          &kNone                         },
    { CKM_DES3_ECB,                              &kNone                         },
    { CKM_DES3_MAC,                              &kNone                         },
    { CKM_CDMF_KEY_GEN,                          &kNone                         },
    { CKM_CDMF_ECB,                              &kNone                         },
    { CKM_CDMF_MAC,                              &kNone                         },
    { CKM_MD2,                                   &kNone                         },
    { CKM_MD2_HMAC,                              &kNone                         },
    { CKM_MD5,                                   &kNone                         },
    { CKM_MD5_HMAC,                              &kNone                         },
    { CKM_SHA_1,                                 &kNone                         },
    { CKM_SHA_1_HMAC,                            &kNone                         },
    { CKM_RIPEMD128,                             &kNone                         },
    { CKM_RIPEMD128_HMAC,                        &kNone                         },
    { CKM_RIPEMD160,                             &kNone                         },
    { CKM_RIPEMD160_HMAC,                        &kNone                         },
    { CKM_CAST_KEY_GEN,                          &kNone                         },
    { CKM_CAST_ECB,                              &kNone                         },
    { CKM_CAST_MAC,                              &kNone                         },
    { CKM_CAST3_KEY_GEN,                         &kNone                         },
    { CKM_CAST3_ECB,                             &kNone                         },
    { CKM_CAST3_MAC,                             &kNone                         },
    { CKM_CAST5_KEY_GEN,                         &kNone                         },
    { CKM_CAST128_KEY_GEN,                       &kNone                         }, // by its other name
    { CKM_CAST5_ECB,                             &kNone                         },
    { CKM_CAST128_ECB,                           &kNone                         }, // by its other name
    { CKM_CAST5_MAC,                             &kNone                         },
    { CKM_CAST128_MAC,                           &kNone                         }, // by its other name
    { CKM_RC5_KEY_GEN,                           &kNone                         },
    { CKM_IDEA_KEY_GEN,                          &kNone                         },
    { CKM_IDEA_ECB,                              &kNone                         },
    { CKM_IDEA_MAC,                              &kNone                         },
    { CKM_GENERIC_SECRET_KEY_GEN,                &kNone                         },
    { CKM_MD5_KEY_DERIVATION,                    &kNone                         },
    { CKM_MD2_KEY_DERIVATION,                    &kNone                         },
    { CKM_SHA1_KEY_DERIVATION,                   &kNone                         },
    { CKM_KEY_WRAP_LYNKS,                        &kNone                         },
    { CKM_SKIPJACK_KEY_GEN,                      &kNone                         },
    { CKM_SKIPJACK_WRAP,                         &kNone                         },
    { CKM_KEA_KEY_PAIR_GEN,                      &kNone                         },
    { CKM_FORTEZZA_TIMESTAMP,                    &kNone                         },
    { CKM_BATON_KEY_GEN,                         &kNone                         },
    { CKM_BATON_WRAP,                            &kNone                         },
    { CKM_EC_KEY_PAIR_GEN,                       &kNone                         },
    { CKM_ECDSA,                                 &kNone                         },
    { CKM_ECDSA_SHA1,                            &kNone                         },
    { CKM_JUNIPER_KEY_GEN,                       &kNone                         },
    { CKM_JUNIPER_WRAP,                          &kNone                         },
    { CKM_FASTHASH,                              &kNone                         },
    { CKM_AES_KEY_GEN,                           &kNone                         },
    { CKM_AES_ECB,                               &kNone                         },
    { CKM_AES_MAC,                               &kNone                         },

    // Integer: the length of the MAC in bytes
    { CKM_DES_MAC_GENERAL,                       &kNumber                       },
    { CKM_DES3_MAC_GENERAL,                      &kNumber                       },
    { CKM_CDMF_MAC_GENERAL,                      &kNumber                       },
    { CKM_MD2_HMAC_GENERAL,                      &kNumber                       },
    { CKM_MD5_HMAC_GENERAL,                      &kNumber                       },
    { CKM_SHA_1_HMAC_GENERAL,                    &kNumber                       },
    { CKM_RIPEMD128_HMAC_GENERAL,                &kNumber                       },
    { CKM_RIPEMD160_HMAC_GENERAL,                &kNumber                       },
    { CKM_CAST_MAC_GENERAL,                      &kNumber                       },
    { CKM_CAST3_MAC_GENERAL,                     &kNumber                       },
    { CKM_CAST5_MAC_GENERAL,                     &kNumber                       },
    { CKM_CAST128_MAC_GENERAL,                   &kNumber                       }, // by its other name
    { CKM_IDEA_MAC_GENERAL,                      &kNumber                       },
    { CKM_SSL3_MD5_MAC,                          &kNumber                       },
    { CKM_SSL3_SHA1_MAC,                         &kNumber                       },
    { CKM_AES_MAC_GENERAL,                       &kNumber                       },

    // Integer: the first bit to extract
    { CKM_EXTRACT_KEY_FROM_KEY,                  &kNumber                       },

    // byte[]: initialisation vector
    { CKM_DES_CBC,                               &kIv                           },
    { CKM_DES_CBC_PAD,                           &kIv                           },
    { CKM_DES3_CBC,                              &kIv                           },
    { CKM_DES3_CBC_PAD,                          &kIv                           },
    { CKM_CDMF_CBC,                              &kIv                           },
    { CKM_CDMF_CBC_PAD,                          &kIv                           },
    { CKM_CAST_CBC,                              &kIv                           },
    { CKM_CAST_CBC_PAD,                          &kIv                           },
    { CKM_CAST3_CBC,                             &kIv                           },
    { CKM_CAST3_CBC_PAD,                         &kIv                           },
    { CKM_CAST5_CBC,                             &kIv                           },
    { CKM_CAST128_CBC,                           &kIv                           }, // by its other name
    { CKM_CAST5_CBC_PAD,                         &kIv                           },
    { CKM_CAST128_CBC_PAD,                       &kIv                           }, // by its other name
    { CKM_IDEA_CBC,                              &kIv                           },
    { CKM_IDEA_CBC_PAD,                          &kIv                           },
    { CKM_AES_CBC,                               &kIv                           },
    { CKM_AES_CBC_PAD,                           &kIv                           },
    { CKM_BLOWFISH_CBC,                          &kIv                           },
    { CKM_TWOFISH_CBC,                           &kIv                           },

    // Not encoded: CK_KEY_DERIVATION_STRING_DATA
    { CKM_CONCATENATE_BASE_AND_DATA,             &kNotEncoded                   },
    { CKM_CONCATENATE_DATA_AND_BASE,             &kNotEncoded                   },
    { CKM_XOR_BASE_AND_DATA,                     &kNotEncoded                   },

    // BigInteger: the other party's public value
    { CKM_DH_PKCS_DERIVE,                        &kPublicValue                  },

    // NativePKCS11Object: a second key
    { CKM_CONCATENATE_BASE_AND_KEY,              &kKeyHandle                    },

    // PKCS11MechPar_RC2
    { CKM_RC2_ECB,                               &kRC2                          },
    { CKM_RC2_MAC,                               &kRC2                          },

    // PKCS11MechPar_RC2_CBC
    { CKM_RC2_CBC,                               &kRC2CBC                       },
    { CKM_RC2_CBC_PAD,                           &kRC2CBC                       },

    // PKCS11MechPar_RC2_GENMAC
    { CKM_RC2_MAC_GENERAL,                       &kRC2MacGeneral                },

    // PKCS11MechPar_RC5
    { CKM_RC5_ECB,                               &kRC5                          },
    { CKM_RC5_MAC,                               &kRC5                          },

    // PKCS11MechPar_RC5_CBC
    { CKM_RC5_CBC,                               &kRC5CBC                       },
    { CKM_RC5_CBC_PAD,                           &kRC5CBC                       },

    // PKCS11MechPar_RC5_GENMAC
    { CKM_RC5_MAC_GENERAL,                       &kRC5MacGeneral                },

    // PKCS11MechPar_PBE; the token's IV is returned
    { CKM_PBE_MD2_DES_CBC,                       &kPBE                          },
    { CKM_PBE_MD5_DES_CBC,                       &kPBE                          },
    { CKM_PBE_MD5_CAST_CBC,                      &kPBE                          },
    { CKM_PBE_MD5_CAST3_CBC,                     &kPBE                          },
    { CKM_PBE_MD5_CAST5_CBC,                     &kPBE                          },
    { CKM_PBE_MD5_CAST128_CBC,                   &kPBE                          }, // by its other name
    { CKM_PBE_SHA1_CAST5_CBC,                    &kPBE                          },
    { CKM_PBE_SHA1_CAST128_CBC,                  &kPBE                          }, // by its other name
    { CKM_PBE_SHA1_RC4_128,                      &kPBE                          },
    { CKM_PBE_SHA1_RC4_40,                       &kPBE                          },
    { CKM_PBE_SHA1_DES3_EDE_CBC,                 &kPBE                          },
    { CKM_PBE_SHA1_DES2_EDE_CBC,                 &kPBE                          },
    { CKM_PBE_SHA1_RC2_128_CBC,                  &kPBE                          },
    { CKM_PBE_SHA1_RC2_40_CBC,                   &kPBE                          },
    { CKM_PBA_SHA1_WITH_SHA1_HMAC,               &kPBE                          },

    // byte[]: initialisation vector that the token writes
    { CKM_SKIPJACK_ECB64,                        &kTokenIv                      },
    { CKM_SKIPJACK_CBC64,                        &kTokenIv                      },
    { CKM_SKIPJACK_OFB64,                        &kTokenIv                      },
    { CKM_SKIPJACK_CFB64,                        &kTokenIv                      },
    { CKM_SKIPJACK_CFB32,                        &kTokenIv                      },
    { CKM_SKIPJACK_CFB16,                        &kTokenIv                      },
    { CKM_SKIPJACK_CFB8,                         &kTokenIv                      },
    { CKM_BATON_ECB128,                          &kTokenIv                      },
    { CKM_BATON_ECB96,                           &kTokenIv                      },
    { CKM_BATON_CBC128,                          &kTokenIv                      },
    { CKM_BATON_COUNTER,                         &kTokenIv                      },
    { CKM_BATON_SHUFFLE,                         &kTokenIv                      },
    { CKM_JUNIPER_ECB128,                        &kTokenIv                      },
    { CKM_JUNIPER_CBC128,                        &kTokenIv                      },
    { CKM_JUNIPER_COUNTER,                       &kTokenIv                      },
    { CKM_JUNIPER_SHUFFLE,                       &kTokenIv                      },

    // Not encoded: CK_KEA_DERIVE_PARAMS
    { CKM_KEA_KEY_DERIVE,                        &kNotEncoded                   },

    // Not encoded: CK_KEY_WRAP_SET_OAEP_PARAMS
    { CKM_KEY_WRAP_SET_OAEP,                     &kNotEncoded                   },

    // CK_VERSION
    { CKM_SSL3_PRE_MASTER_KEY_GEN,               &kVersion                      },
    { CKM_TLS_PRE_MASTER_KEY_GEN,                &kVersion                      },

    // Not encoded: CK_SKIPJACK_PRIVATE_WRAP_PARAMS
    { CKM_SKIPJACK_PRIVATE_WRAP,                 &kNotEncoded                   },

    // Not encoded: CK_SKIPJACK_RELAYX_PARAMS
    { CKM_SKIPJACK_RELAYX,                       &kNotEncoded                   },

    // CK_SSL3_MASTER_KEY_DERIVE_PARAMS; the version is returned
    { CKM_SSL3_MASTER_KEY_DERIVE,                &kSSL3MasterKeyDerive          },
    { CKM_TLS_MASTER_KEY_DERIVE,                 &kSSL3MasterKeyDerive          },

    // CK_SSL3_MASTER_KEY_DERIVE_PARAMS, Diffie-Hellman: nothing is returned
    { CKM_SSL3_MASTER_KEY_DERIVE_DH,             &kSSL3MasterKeyDeriveDh        },
    { CKM_TLS_MASTER_KEY_DERIVE_DH,              &kSSL3MasterKeyDeriveDh        },

    // CK_SSL3_KEY_MAT_PARAMS; keys and IVs are returned
    { CKM_SSL3_KEY_AND_MAC_DERIVE,               &kSSL3KeyMat                   },
    { CKM_TLS_KEY_AND_MAC_DERIVE,                &kSSL3KeyMat                   },

    // CK_TLS_PRF_PARAMS; the output is returned
    { CKM_TLS_PRF,                               &kTLSPRF                       },

    // CK_ECDH1_DERIVE_PARAMS
    { CKM_ECDH1_DERIVE,                          &kECDH1                        },
    { CKM_ECDH1_COFACTOR_DERIVE,                 &kECDH1                        },

    // Refused: CK_ECMQV_DERIVE_PARAMS
    { CKM_ECMQV_DERIVE,                          &kUnknown                      },

    // Not encoded: CK_PKCS5_PBKD2_PARAMS
    { CKM_PKCS5_PBKD2,                           &kNotEncoded                   },

    // CK_GCM_PARAMS
    { CKM_AES_GCM,                               &kGCM                          },

    // CK_RSA_PKCS_OAEP_PARAMS
    { CKM_RSA_PKCS_OAEP,                         &kOAEP                         },

    // CK_RSA_PKCS_PSS_PARAMS
    { CKM_RSA_PKCS_PSS,                          &kPSS                          },
    { CKM_SHA1_RSA_PKCS_PSS,                     &kPSS                          },
    { CKM_SHA256_RSA_PKCS_PSS,                   &kPSS                          },
    { CKM_SHA384_RSA_PKCS_PSS,                   &kPSS                          },
    { CKM_SHA512_RSA_PKCS_PSS,                   &kPSS                          },
    { CKM_SHA224_RSA_PKCS_PSS,                   &kPSS                          },

    // ---- Edition 2.11 ----

    // CK_X9_42_DH1_DERIVE_PARAMS
    { CKM_X9_42_DH_DERIVE,                       &kX942Dh1                      },

    // CK_X9_42_DH2_DERIVE_PARAMS
    { CKM_X9_42_DH_HYBRID_DERIVE,                &kX942Dh2                      },

    // CK_X9_42_MQV_DERIVE_PARAMS
    { CKM_X9_42_MQV_DERIVE,                      &kX942Mqv                      },

    // ---- Edition 2.20 and its amendments ----

    // Integer: the length of the MAC in bytes
    { CKM_SHA256_HMAC_GENERAL,                   &kNumber                       },
    { CKM_SHA384_HMAC_GENERAL,                   &kNumber                       },
    { CKM_SHA512_HMAC_GENERAL,                   &kNumber                       },
    { CKM_SHA224_HMAC_GENERAL,                   &kNumber                       },
    { CKM_CAMELLIA_MAC_GENERAL,                  &kNumber                       },
    { CKM_ARIA_MAC_GENERAL,                      &kNumber                       },

    // byte[]: initialisation vector
    { CKM_DES_OFB64,                             &kIv                           },
    { CKM_DES_OFB8,                              &kIv                           },
    { CKM_DES_CFB64,                             &kIv                           },
    { CKM_DES_CFB8,                              &kIv                           },
    { CKM_CAMELLIA_CBC,                          &kIv                           },
    { CKM_CAMELLIA_CBC_PAD,                      &kIv                           },
    { CKM_ARIA_CBC,                              &kIv                           },
    { CKM_ARIA_CBC_PAD,                          &kIv                           },

    // CK_KEY_DERIVATION_STRING_DATA
    { CKM_DES_ECB_ENCRYPT_DATA,                  &kStringData                   },
    { CKM_DES3_ECB_ENCRYPT_DATA,                 &kStringData                   },
    { CKM_AES_ECB_ENCRYPT_DATA,                  &kStringData                   },
    { CKM_CAMELLIA_ECB_ENCRYPT_DATA,             &kStringData                   },
    { CKM_ARIA_ECB_ENCRYPT_DATA,                 &kStringData                   },

    // CK_DES_CBC_ENCRYPT_DATA_PARAMS
    { CKM_DES_CBC_ENCRYPT_DATA,                  &kDesCbcEncryptData            },
    { CKM_DES3_CBC_ENCRYPT_DATA,                 &kDesCbcEncryptData            },

    // CK_AES_CBC_ENCRYPT_DATA_PARAMS, whose fields the structures of Camellia and ARIA have too
    { CKM_AES_CBC_ENCRYPT_DATA,                  &kAesCbcEncryptData            },
    { CKM_CAMELLIA_CBC_ENCRYPT_DATA,             &kAesCbcEncryptData            },
    { CKM_ARIA_CBC_ENCRYPT_DATA,                 &kAesCbcEncryptData            },

    // CK_AES_CTR_PARAMS, whose fields the structure of Camellia has too
    { CKM_AES_CTR,                               &kAesCtr                       },
    { CKM_CAMELLIA_CTR,                          &kAesCtr                       },

    // ---- Edition 2.40, and the draft 2.30 before it ----

    // Integer: the length of the MAC in bytes
    { CKM_DES3_CMAC_GENERAL,                     &kNumber                       },
    { CKM_AES_CMAC_GENERAL,                      &kNumber                       },
    { CKM_SHA512_224_HMAC_GENERAL,               &kNumber                       },
    { CKM_SHA512_256_HMAC_GENERAL,               &kNumber                       },
    { CKM_SHA512_T_HMAC_GENERAL,                 &kNumber                       },
    { CKM_SEED_MAC_GENERAL,                      &kNumber                       },

    // byte[]: initialisation vector
    { CKM_AES_OFB,                               &kIv                           },
    { CKM_AES_CFB64,                             &kIv                           },
    { CKM_AES_CFB8,                              &kIv                           },
    { CKM_AES_CFB128,                            &kIv                           },
    { CKM_AES_CFB1,                              &kIv                           },
    { CKM_AES_CTS,                               &kIv                           },
    { CKM_AES_GMAC,                              &kIv                           },
    { CKM_SEED_CBC,                              &kIv                           },
    { CKM_SEED_CBC_PAD,                          &kIv                           },
    { CKM_BLOWFISH_CBC_PAD,                      &kIv                           },
    { CKM_TWOFISH_CBC_PAD,                       &kIv                           },

    // CK_KEY_DERIVATION_STRING_DATA
    { CKM_SEED_ECB_ENCRYPT_DATA,                 &kStringData                   },

    // CK_AES_CBC_ENCRYPT_DATA_PARAMS, whose fields the structure of SEED has too
    { CKM_SEED_CBC_ENCRYPT_DATA,                 &kAesCbcEncryptData            },

    // CK_CCM_PARAMS
    { CKM_AES_CCM,                               &kCcm                          },

    // CK_RSA_AES_KEY_WRAP_PARAMS
    { CKM_RSA_AES_KEY_WRAP,                      &kRsaAesKeyWrap                },

    // CK_ECDH_AES_KEY_WRAP_PARAMS
    { CKM_ECDH_AES_KEY_WRAP,                     &kEcdhAesKeyWrap               },

    // byte[]: initialisation vector, or null
    { CKM_AES_KEY_WRAP,                          &kOptionalIv                   },
    { CKM_AES_KEY_WRAP_PAD,                      &kOptionalIv                   },

    // CK_TLS12_MASTER_KEY_DERIVE_PARAMS; the version is returned where there is one
    { CKM_TLS12_MASTER_KEY_DERIVE,               &kTls12MasterKeyDerive         },
    { CKM_TLS12_MASTER_KEY_DERIVE_DH,            &kTls12MasterKeyDerive         },

    // CK_TLS12_KEY_MAT_PARAMS; keys and IVs are returned
    { CKM_TLS12_KEY_AND_MAC_DERIVE,              &kTls12KeyMat                  },
    { CKM_TLS12_KEY_SAFE_DERIVE,                 &kTls12KeyMat                  },

    // CK_TLS_MAC_PARAMS
    { CKM_TLS12_MAC,                             &kTlsMac                       },
    { CKM_TLS_MAC,                               &kTlsMac                       },

    // CK_TLS_KDF_PARAMS
    { CKM_TLS12_KDF,                             &kTlsKdf                       },
    { CKM_TLS_KDF,                               &kTlsKdf                       },

    // ---- Editions 3.0 and 3.1 ----

    // Integer: the length of the MAC in bytes
    { CKM_SHA3_256_HMAC_GENERAL,                 &kNumber                       },
    { CKM_SHA3_224_HMAC_GENERAL,                 &kNumber                       },
    { CKM_SHA3_384_HMAC_GENERAL,                 &kNumber                       },
    { CKM_SHA3_512_HMAC_GENERAL,                 &kNumber                       },

    // CK_RSA_PKCS_PSS_PARAMS
    { CKM_SHA3_256_RSA_PKCS_PSS,                 &kPSS                          },
    { CKM_SHA3_384_RSA_PKCS_PSS,                 &kPSS                          },
    { CKM_SHA3_512_RSA_PKCS_PSS,                 &kPSS                          },
    { CKM_SHA3_224_RSA_PKCS_PSS,                 &kPSS                          },

    // CK_EDDSA_PARAMS
    { CKM_EDDSA,                                 &kEddsa                        },

    // CK_SALSA20_CHACHA20_POLY1305_PARAMS
    { CKM_CHACHA20_POLY1305,                     &kPoly1305                     },
    { CKM_SALSA20_POLY1305,                      &kPoly1305                     },

    // CK_HKDF_PARAMS
    { CKM_HKDF_DERIVE,                           &kHkdf                         },
    { CKM_HKDF_DATA,                             &kHkdf                         },

    // Integer: the length of the MAC in bytes
    { CKM_BLAKE2B_160_HMAC_GENERAL,              &kNumber                       },
    { CKM_BLAKE2B_256_HMAC_GENERAL,              &kNumber                       },
    { CKM_BLAKE2B_384_HMAC_GENERAL,              &kNumber                       },
    { CKM_BLAKE2B_512_HMAC_GENERAL,              &kNumber                       },

    // byte[]: initialisation vector, or null
    { CKM_AES_XTS,                               &kOptionalIv                   },
    { CKM_AES_KEY_WRAP_KWP,                      &kOptionalIv                   },
    { CKM_AES_KEY_WRAP_PKCS7,                    &kOptionalIv                   },

    // CK_CHACHA20_PARAMS
    { CKM_CHACHA20,                              &kChaCha20                     },

    // CK_SALSA20_PARAMS
    { CKM_SALSA20,                               &kSalsa20                      },

    // CK_XEDDSA_PARAMS
    { CKM_XEDDSA,                                &kXeddsa                       },

    // CK_SP800_108_KDF_PARAMS; the additional keys are returned
    { CKM_SP800_108_COUNTER_KDF,                 &kSp800Kdf                     },
    { CKM_SP800_108_DOUBLE_PIPELINE_KDF,         &kSp800Kdf                     },

    // CK_SP800_108_FEEDBACK_KDF_PARAMS; the additional keys are returned
    { CKM_SP800_108_FEEDBACK_KDF,                &kSp800FeedbackKdf             },

    // ---- Edition 3.2 ----

    // CK_SIGN_ADDITIONAL_CONTEXT
    { CKM_ML_DSA,                                &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA224,                    &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA256,                    &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA384,                    &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA512,                    &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA3_224,                  &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA3_256,                  &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA3_384,                  &kSignContext                  },
    { CKM_HASH_ML_DSA_SHA3_512,                  &kSignContext                  },
    { CKM_HASH_ML_DSA_SHAKE128,                  &kSignContext                  },
    { CKM_HASH_ML_DSA_SHAKE256,                  &kSignContext                  },
    { CKM_SLH_DSA,                               &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA224,                   &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA256,                   &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA384,                   &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA512,                   &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA3_224,                 &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA3_256,                 &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA3_384,                 &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHA3_512,                 &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHAKE128,                 &kSignContext                  },
    { CKM_HASH_SLH_DSA_SHAKE256,                 &kSignContext                  },

    // CK_HASH_SIGN_ADDITIONAL_CONTEXT
    { CKM_HASH_ML_DSA,                           &kHashSignContext              },
    { CKM_HASH_SLH_DSA,                          &kHashSignContext              },

    // CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS; the version is returned where there is one
    { CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE,      &kTls12ExtendedMasterKeyDerive },
    { CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE_DH,   &kTls12ExtendedMasterKeyDerive },

    // CK_ECDH_AES_KEY_WRAP_PARAMS
    { CKM_ECDH_X_AES_KEY_WRAP,                   &kEcdhAesKeyWrap               },
    { CKM_ECDH_COF_AES_KEY_WRAP,                 &kEcdhAesKeyWrap               },
    // clang-format on
};

// The first 180 rows stay as they are; those of later editions follow.
static_assert(MechanismParameterTable[180 - 1].mechanism == CKM_SHA224_RSA_PKCS_PSS);
static_assert(std::size(MechanismParameterTable) == 180 + 115);

constexpr auto sorted = sortedRows(MechanismParameterTable, &MechanismRow::mechanism);

} // namespace

const ParameterDescriptor& parameterDescriptor(CK_MECHANISM_TYPE mechanism)
{
    const auto* row = findRow(MechanismParameterTable, sorted, &MechanismRow::mechanism, mechanism);
    return row != nullptr ? *row->descriptor : kRaw;
}
