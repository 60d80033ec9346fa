#include "marshal/mechanism_kinds.h"

#include <iterator>

#include "marshal/sorted_rows.h"

namespace {

struct MechanismParameter
{
    CK_MECHANISM_TYPE mechanism;
    ParameterKind kind;
};

using enum ParameterKind;

// Which parameter each mechanism takes. The first row with a type wins. The CAST5 mechanisms
// have a second name, CAST128, and a row under each: both names stay findable here.
constexpr MechanismParameter MechanismParameterTable[] = {
    // clang-format off
    // No parameter
    { CKM_RSA_PKCS_KEY_PAIR_GEN,          none                  },
    { CKM_RSA_PKCS,                       none                  },
    { CKM_RSA_9796,                       none                  },
    { CKM_RSA_X_509,                      none                  },
    { CKM_MD2_RSA_PKCS,                   none                  },
    { CKM_MD5_RSA_PKCS,                   none                  },
    { CKM_SHA1_RSA_PKCS,                  none                  },
    { CKM_RIPEMD128_RSA_PKCS,             none                  },
    { CKM_RIPEMD160_RSA_PKCS,             none                  },
    { CKM_DSA_KEY_PAIR_GEN,               none                  },
    { CKM_DSA,                            none                  },
    { CKM_DSA_SHA1,                       none                  },
    { CKM_DH_PKCS_KEY_PAIR_GEN,           none                  },
    { CKM_RC2_KEY_GEN,                    none                  },
    { CKM_RC4_KEY_GEN,                    none                  },
    { CKM_RC4,                            none                  },
    { CKM_DES_KEY_GEN,                    none                  },
    { CKM_DES_ECB,                        none                  },
    { CKM_DES_MAC,                        none                  },
    { CKM_DES2_KEY_GEN,                   none                  },
    { CKM_DES3_KEY_GEN,                   none                  },
    { CKM_DES3_ECB,                       none                  },
    { CKM_DES3_MAC,                       none                  },
    { CKM_CDMF_KEY_GEN,                   none                  },
    { CKM_CDMF_ECB,                       none                  },
    { CKM_CDMF_MAC,                       none                  },
    { CKM_MD2,                            none                  },
    { CKM_MD2_HMAC,                       none                  },
    { CKM_MD5,                            none                  },
    { CKM_MD5_HMAC,                       none                  },
    { CKM_SHA_1,                          none                  },
    { CKM_SHA_1_HMAC,                     none                  },
    { CKM_RIPEMD128,                      none                  },
    { CKM_RIPEMD128_HMAC,                 none                  },
    { CKM_RIPEMD160,                      none                  },
    { CKM_RIPEMD160_HMAC,                 none                  },
    { CKM_CAST_KEY_GEN,                   none                  },
    { CKM_CAST_ECB,                       none                  },
    { CKM_CAST_MAC,                       none                  },
    { CKM_CAST3_KEY_GEN,                  none                  },
    { CKM_CAST3_ECB,                      none                  },
    { CKM_CAST3_MAC,                      none                  },
    { CKM_CAST5_KEY_GEN,                  none                  },
    { CKM_CAST128_KEY_GEN,                none                  }, // by its other name
    { CKM_CAST5_ECB,                      none                  },
    { CKM_CAST128_ECB,                    none                  }, // by its other name
    { CKM_CAST5_MAC,                      none                  },
    { CKM_CAST128_MAC,                    none                  }, // by its other name
    { CKM_RC5_KEY_GEN,                    none                  },
    { CKM_IDEA_KEY_GEN,                   none                  },
    { CKM_IDEA_ECB,                       none                  },
    { CKM_IDEA_MAC,                       none                  },
    { CKM_GENERIC_SECRET_KEY_GEN,         none                  },
    { CKM_MD5_KEY_DERIVATION,             none                  },
    { CKM_MD2_KEY_DERIVATION,             none                  },
    { CKM_SHA1_KEY_DERIVATION,            none                  },
    { CKM_KEY_WRAP_LYNKS,                 none                  },
    { CKM_SKIPJACK_KEY_GEN,               none                  },
    { CKM_SKIPJACK_WRAP,                  none                  },
    { CKM_KEA_KEY_PAIR_GEN,               none                  },
    { CKM_FORTEZZA_TIMESTAMP,             none                  },
    { CKM_BATON_KEY_GEN,                  none                  },
    { CKM_BATON_WRAP,                     none                  },
    { CKM_EC_KEY_PAIR_GEN,                none                  },
    { CKM_ECDSA,                          none                  },
    { CKM_ECDSA_SHA1,                     none                  },
    { CKM_JUNIPER_KEY_GEN,                none                  },
    { CKM_JUNIPER_WRAP,                   none                  },
    { CKM_FASTHASH,                       none                  },
    { CKM_AES_KEY_GEN,                    none                  },
    { CKM_AES_ECB,                        none                  },
    { CKM_AES_MAC,                        none                  },

    // Integer: the length of the MAC in bytes
    { CKM_DES_MAC_GENERAL,                macGeneral            },
    { CKM_DES3_MAC_GENERAL,               macGeneral            },
    { CKM_CDMF_MAC_GENERAL,               macGeneral            },
    { CKM_MD2_HMAC_GENERAL,               macGeneral            },
    { CKM_MD5_HMAC_GENERAL,               macGeneral            },
    { CKM_SHA_1_HMAC_GENERAL,             macGeneral            },
    { CKM_RIPEMD128_HMAC_GENERAL,         macGeneral            },
    { CKM_RIPEMD160_HMAC_GENERAL,         macGeneral            },
    { CKM_CAST_MAC_GENERAL,               macGeneral            },
    { CKM_CAST3_MAC_GENERAL,              macGeneral            },
    { CKM_CAST5_MAC_GENERAL,              macGeneral            },
    { CKM_CAST128_MAC_GENERAL,            macGeneral            }, // by its other name
    { CKM_IDEA_MAC_GENERAL,               macGeneral            },
    { CKM_SSL3_MD5_MAC,                   macGeneral            },
    { CKM_SSL3_SHA1_MAC,                  macGeneral            },
    { CKM_AES_MAC_GENERAL,                macGeneral            },

    // Integer: the first bit to extract
    { CKM_EXTRACT_KEY_FROM_KEY,           extract               },

    // byte[]: initialisation vector
    { CKM_DES_CBC,                        iv                    },
    { CKM_DES_CBC_PAD,                    iv                    },
    { CKM_DES3_CBC,                       iv                    },
    { CKM_DES3_CBC_PAD,                   iv                    },
    { CKM_CDMF_CBC,                       iv                    },
    { CKM_CDMF_CBC_PAD,                   iv                    },
    { CKM_CAST_CBC,                       iv                    },
    { CKM_CAST_CBC_PAD,                   iv                    },
    { CKM_CAST3_CBC,                      iv                    },
    { CKM_CAST3_CBC_PAD,                  iv                    },
    { CKM_CAST5_CBC,                      iv                    },
    { CKM_CAST128_CBC,                    iv                    }, // by its other name
    { CKM_CAST5_CBC_PAD,                  iv                    },
    { CKM_CAST128_CBC_PAD,                iv                    }, // by its other name
    { CKM_IDEA_CBC,                       iv                    },
    { CKM_IDEA_CBC_PAD,                   iv                    },
    { CKM_AES_CBC,                        iv                    },
    { CKM_AES_CBC_PAD,                    iv                    },
    { CKM_BLOWFISH_CBC,                   iv                    },
    { CKM_TWOFISH_CBC,                    iv                    },

    // Not encoded: CK_KEY_DERIVATION_STRING_DATA
    { CKM_CONCATENATE_BASE_AND_DATA,      derivationString      },
    { CKM_CONCATENATE_DATA_AND_BASE,      derivationString      },
    { CKM_XOR_BASE_AND_DATA,              derivationString      },

    // BigInteger: the other party's public value
    { CKM_DH_PKCS_DERIVE,                 publicValue           },

    // NativePKCS11Object: a second key
    { CKM_CONCATENATE_BASE_AND_KEY,       keyHandle             },

    // PKCS11MechPar_RC2
    { CKM_RC2_ECB,                        rc2                   },
    { CKM_RC2_MAC,                        rc2                   },

    // PKCS11MechPar_RC2_CBC
    { CKM_RC2_CBC,                        rc2Cbc                },
    { CKM_RC2_CBC_PAD,                    rc2Cbc                },

    // PKCS11MechPar_RC2_GENMAC
    { CKM_RC2_MAC_GENERAL,                rc2MacGeneral         },

    // PKCS11MechPar_RC5
    { CKM_RC5_ECB,                        rc5                   },
    { CKM_RC5_MAC,                        rc5                   },

    // PKCS11MechPar_RC5_CBC
    { CKM_RC5_CBC,                        rc5Cbc                },
    { CKM_RC5_CBC_PAD,                    rc5Cbc                },

    // PKCS11MechPar_RC5_GENMAC
    { CKM_RC5_MAC_GENERAL,                rc5MacGeneral         },

    // PKCS11MechPar_PBE; the token's IV comes back
    { CKM_PBE_MD2_DES_CBC,                pbe                   },
    { CKM_PBE_MD5_DES_CBC,                pbe                   },
    { CKM_PBE_MD5_CAST_CBC,               pbe                   },
    { CKM_PBE_MD5_CAST3_CBC,              pbe                   },
    { CKM_PBE_MD5_CAST5_CBC,              pbe                   },
    { CKM_PBE_MD5_CAST128_CBC,            pbe                   }, // by its other name
    { CKM_PBE_SHA1_CAST5_CBC,             pbe                   },
    { CKM_PBE_SHA1_CAST128_CBC,           pbe                   }, // by its other name
    { CKM_PBE_SHA1_RC4_128,               pbe                   },
    { CKM_PBE_SHA1_RC4_40,                pbe                   },
    { CKM_PBE_SHA1_DES3_EDE_CBC,          pbe                   },
    { CKM_PBE_SHA1_DES2_EDE_CBC,          pbe                   },
    { CKM_PBE_SHA1_RC2_128_CBC,           pbe                   },
    { CKM_PBE_SHA1_RC2_40_CBC,            pbe                   },
    { CKM_PBA_SHA1_WITH_SHA1_HMAC,        pbe                   },

    // byte[]: initialisation vector that comes back from the token
    { CKM_SKIPJACK_ECB64,                 tokenIv               },
    { CKM_SKIPJACK_CBC64,                 tokenIv               },
    { CKM_SKIPJACK_OFB64,                 tokenIv               },
    { CKM_SKIPJACK_CFB64,                 tokenIv               },
    { CKM_SKIPJACK_CFB32,                 tokenIv               },
    { CKM_SKIPJACK_CFB16,                 tokenIv               },
    { CKM_SKIPJACK_CFB8,                  tokenIv               },
    { CKM_BATON_ECB128,                   tokenIv               },
    { CKM_BATON_ECB96,                    tokenIv               },
    { CKM_BATON_CBC128,                   tokenIv               },
    { CKM_BATON_COUNTER,                  tokenIv               },
    { CKM_BATON_SHUFFLE,                  tokenIv               },
    { CKM_JUNIPER_ECB128,                 tokenIv               },
    { CKM_JUNIPER_CBC128,                 tokenIv               },
    { CKM_JUNIPER_COUNTER,                tokenIv               },
    { CKM_JUNIPER_SHUFFLE,                tokenIv               },

    // Not encoded: CK_KEA_DERIVE_PARAMS
    { CKM_KEA_KEY_DERIVE,                 keaDerive             },

    // Not encoded: CK_KEY_WRAP_SET_OAEP_PARAMS
    { CKM_KEY_WRAP_SET_OAEP,              keyWrapSetOaep        },

    // CK_VERSION
    { CKM_SSL3_PRE_MASTER_KEY_GEN,        version               },
    { CKM_TLS_PRE_MASTER_KEY_GEN,         version               },

    // Not encoded: CK_SKIPJACK_PRIVATE_WRAP_PARAMS
    { CKM_SKIPJACK_PRIVATE_WRAP,          skipjackPrivateWrap   },

    // Not encoded: CK_SKIPJACK_RELAYX_PARAMS
    { CKM_SKIPJACK_RELAYX,                skipjackRelayx        },

    // CK_SSL3_MASTER_KEY_DERIVE_PARAMS; the version comes back
    { CKM_SSL3_MASTER_KEY_DERIVE,         ssl3MasterKeyDerive   },
    { CKM_TLS_MASTER_KEY_DERIVE,          tlsMasterKeyDerive    },

    // CK_SSL3_MASTER_KEY_DERIVE_PARAMS, Diffie-Hellman: nothing comes back
    { CKM_SSL3_MASTER_KEY_DERIVE_DH,      ssl3MasterKeyDeriveDh },
    { CKM_TLS_MASTER_KEY_DERIVE_DH,       tlsMasterKeyDeriveDh  },

    // CK_SSL3_KEY_MAT_PARAMS; keys and IVs come back
    { CKM_SSL3_KEY_AND_MAC_DERIVE,        ssl3KeyAndMacDerive   },
    { CKM_TLS_KEY_AND_MAC_DERIVE,         tlsKeyAndMacDerive    },

    // CK_TLS_PRF_PARAMS; the output comes back
    { CKM_TLS_PRF,                        tlsPrf                },

    // CK_ECDH1_DERIVE_PARAMS
    { CKM_ECDH1_DERIVE,                   ecdh1Derive           },
    { CKM_ECDH1_COFACTOR_DERIVE,          ecdh1Derive           },

    // Refused: CK_ECMQV_DERIVE_PARAMS
    { CKM_ECMQV_DERIVE,                   ecmqvDerive           },

    // Not encoded: CK_PKCS5_PBKD2_PARAMS
    { CKM_PKCS5_PBKD2,                    pbkd2                 },

    // CK_GCM_PARAMS
    { CKM_AES_GCM,                        gcm                   },

    // CK_RSA_PKCS_OAEP_PARAMS
    { CKM_RSA_PKCS_OAEP,                  oaep                  },

    // CK_RSA_PKCS_PSS_PARAMS
    { CKM_RSA_PKCS_PSS,                   pss                   },
    { CKM_SHA1_RSA_PKCS_PSS,              pss                   },
    { CKM_SHA256_RSA_PKCS_PSS,            pss                   },
    { CKM_SHA384_RSA_PKCS_PSS,            pss                   },
    { CKM_SHA512_RSA_PKCS_PSS,            pss                   },
    { CKM_SHA224_RSA_PKCS_PSS,            pss                   },

    // ---- Edition 2.11 ----

    // CK_X9_42_DH1_DERIVE_PARAMS
    { CKM_X9_42_DH_DERIVE,                x942Dh1               },

    // CK_X9_42_DH2_DERIVE_PARAMS
    { CKM_X9_42_DH_HYBRID_DERIVE,         x942Dh2               },

    // CK_X9_42_MQV_DERIVE_PARAMS
    { CKM_X9_42_MQV_DERIVE,               x942Mqv               },

    // ---- Edition 2.20 and its amendments ----

    // Integer: the length of the MAC in bytes
    { CKM_SHA256_HMAC_GENERAL,            macGeneral            },
    { CKM_SHA384_HMAC_GENERAL,            macGeneral            },
    { CKM_SHA512_HMAC_GENERAL,            macGeneral            },
    { CKM_SHA224_HMAC_GENERAL,            macGeneral            },
    { CKM_CAMELLIA_MAC_GENERAL,           macGeneral            },
    { CKM_ARIA_MAC_GENERAL,               macGeneral            },

    // byte[]: initialisation vector
    { CKM_DES_OFB64,                      iv                    },
    { CKM_DES_OFB8,                       iv                    },
    { CKM_DES_CFB64,                      iv                    },
    { CKM_DES_CFB8,                       iv                    },
    { CKM_CAMELLIA_CBC,                   iv                    },
    { CKM_CAMELLIA_CBC_PAD,               iv                    },
    { CKM_ARIA_CBC,                       iv                    },
    { CKM_ARIA_CBC_PAD,                   iv                    },

    // CK_KEY_DERIVATION_STRING_DATA
    { CKM_DES_ECB_ENCRYPT_DATA,           stringData            },
    { CKM_DES3_ECB_ENCRYPT_DATA,          stringData            },
    { CKM_AES_ECB_ENCRYPT_DATA,           stringData            },
    { CKM_CAMELLIA_ECB_ENCRYPT_DATA,      stringData            },
    { CKM_ARIA_ECB_ENCRYPT_DATA,          stringData            },

    // CK_DES_CBC_ENCRYPT_DATA_PARAMS
    { CKM_DES_CBC_ENCRYPT_DATA,           desCbcEncryptData     },
    { CKM_DES3_CBC_ENCRYPT_DATA,          desCbcEncryptData     },

    // CK_AES_CBC_ENCRYPT_DATA_PARAMS, whose fields the structures of Camellia and ARIA have too
    { CKM_AES_CBC_ENCRYPT_DATA,           aesCbcEncryptData     },
    { CKM_CAMELLIA_CBC_ENCRYPT_DATA,      aesCbcEncryptData     },
    { CKM_ARIA_CBC_ENCRYPT_DATA,          aesCbcEncryptData     },

    // CK_AES_CTR_PARAMS, whose fields the structure of Camellia has too
    { CKM_AES_CTR,                        aesCtr                },
    { CKM_CAMELLIA_CTR,                   aesCtr                },

    // ---- Edition 2.40, and the draft 2.30 before it ----

    // Integer: the length of the MAC in bytes
    { CKM_DES3_CMAC_GENERAL,              macGeneral            },
    { CKM_AES_CMAC_GENERAL,               macGeneral            },
    { CKM_SHA512_224_HMAC_GENERAL,        macGeneral            },
    { CKM_SHA512_256_HMAC_GENERAL,        macGeneral            },
    { CKM_SHA512_T_HMAC_GENERAL,          macGeneral            },
    { CKM_SEED_MAC_GENERAL,               macGeneral            },

    // byte[]: initialisation vector
    { CKM_AES_OFB,                        iv                    },
    { CKM_AES_CFB64,                      iv                    },
    { CKM_AES_CFB8,                       iv                    },
    { CKM_AES_CFB128,                     iv                    },
    { CKM_AES_CFB1,                       iv                    },
    { CKM_AES_CTS,                        iv                    },
    { CKM_AES_GMAC,                       iv                    },
    { CKM_SEED_CBC,                       iv                    },
    { CKM_SEED_CBC_PAD,                   iv                    },
    { CKM_BLOWFISH_CBC_PAD,               iv                    },
    { CKM_TWOFISH_CBC_PAD,                iv                    },

    // CK_KEY_DERIVATION_STRING_DATA
    { CKM_SEED_ECB_ENCRYPT_DATA,          stringData            },

    // CK_AES_CBC_ENCRYPT_DATA_PARAMS, whose fields the structure of SEED has too
    { CKM_SEED_CBC_ENCRYPT_DATA,          aesCbcEncryptData     },

    // CK_CCM_PARAMS
    { CKM_AES_CCM,                        ccm                   },

    // CK_RSA_AES_KEY_WRAP_PARAMS
    { CKM_RSA_AES_KEY_WRAP,               rsaAesKeyWrap         },

    // CK_ECDH_AES_KEY_WRAP_PARAMS
    { CKM_ECDH_AES_KEY_WRAP,              ecdhAesKeyWrap        },

    // byte[]: initialisation vector, or none
    { CKM_AES_KEY_WRAP,                   vector                },
    { CKM_AES_KEY_WRAP_PAD,               vector                },

    // CK_TLS12_MASTER_KEY_DERIVE_PARAMS; the version comes back where there is one
    { CKM_TLS12_MASTER_KEY_DERIVE,        tls12MasterKeyDerive  },
    { CKM_TLS12_MASTER_KEY_DERIVE_DH,     tls12MasterKeyDerive  },

    // CK_TLS12_KEY_MAT_PARAMS; keys and IVs come back
    { CKM_TLS12_KEY_AND_MAC_DERIVE,       tls12KeyMat           },
    { CKM_TLS12_KEY_SAFE_DERIVE,          tls12KeyMat           },

    // CK_TLS_MAC_PARAMS
    { CKM_TLS12_MAC,                      tlsMac                },
    { CKM_TLS_MAC,                        tlsMac                },

    // CK_TLS_KDF_PARAMS
    { CKM_TLS12_KDF,                      tlsKdf                },
    { CKM_TLS_KDF,                        tlsKdf                },

    // ---- Editions 3.0 and 3.1 ----

    // Integer: the length of the MAC in bytes
    { CKM_SHA3_256_HMAC_GENERAL,          macGeneral            },
    { CKM_SHA3_224_HMAC_GENERAL,          macGeneral            },
    { CKM_SHA3_384_HMAC_GENERAL,          macGeneral            },
    { CKM_SHA3_512_HMAC_GENERAL,          macGeneral            },

    // CK_RSA_PKCS_PSS_PARAMS
    { CKM_SHA3_256_RSA_PKCS_PSS,          pss                   },
    { CKM_SHA3_384_RSA_PKCS_PSS,          pss                   },
    { CKM_SHA3_512_RSA_PKCS_PSS,          pss                   },
    { CKM_SHA3_224_RSA_PKCS_PSS,          pss                   },

    // CK_EDDSA_PARAMS
    { CKM_EDDSA,                          eddsa                 },

    // CK_SALSA20_CHACHA20_POLY1305_PARAMS
    { CKM_CHACHA20_POLY1305,              poly1305              },
    { CKM_SALSA20_POLY1305,               poly1305              },

    // CK_HKDF_PARAMS
    { CKM_HKDF_DERIVE,                    hkdf                  },
    { CKM_HKDF_DATA,                      hkdf                  },

    // Integer: the length of the MAC in bytes
    { CKM_BLAKE2B_160_HMAC_GENERAL,       macGeneral            },
    { CKM_BLAKE2B_256_HMAC_GENERAL,       macGeneral            },
    { CKM_BLAKE2B_384_HMAC_GENERAL,       macGeneral            },
    { CKM_BLAKE2B_512_HMAC_GENERAL,       macGeneral            },

    // byte[]: initialisation vector, or none
    { CKM_AES_XTS,                        vector                },
    { CKM_AES_KEY_WRAP_KWP,               vector                },
    { CKM_AES_KEY_WRAP_PKCS7,             vector                },

    // CK_CHACHA20_PARAMS
    { CKM_CHACHA20,                       chaCha20              },

    // CK_SALSA20_PARAMS
    { CKM_SALSA20,                        salsa20               },

    // CK_XEDDSA_PARAMS
    { CKM_XEDDSA,                         xeddsa                },

    // CK_SP800_108_KDF_PARAMS; the additional keys come back
    { CKM_SP800_108_COUNTER_KDF,          sp800Kdf              },
    { CKM_SP800_108_DOUBLE_PIPELINE_KDF,  sp800Kdf              },

    // CK_SP800_108_FEEDBACK_KDF_PARAMS; the additional keys come back
    { CKM_SP800_108_FEEDBACK_KDF,         sp800FeedbackKdf      },

    // ---- Edition 3.2 ----

    // CK_SIGN_ADDITIONAL_CONTEXT
    { CKM_ML_DSA,                               signContext                  },
    { CKM_HASH_ML_DSA_SHA224,                   signContext                  },
    { CKM_HASH_ML_DSA_SHA256,                   signContext                  },
    { CKM_HASH_ML_DSA_SHA384,                   signContext                  },
    { CKM_HASH_ML_DSA_SHA512,                   signContext                  },
    { CKM_HASH_ML_DSA_SHA3_224,                 signContext                  },
    { CKM_HASH_ML_DSA_SHA3_256,                 signContext                  },
    { CKM_HASH_ML_DSA_SHA3_384,                 signContext                  },
    { CKM_HASH_ML_DSA_SHA3_512,                 signContext                  },
    { CKM_HASH_ML_DSA_SHAKE128,                 signContext                  },
    { CKM_HASH_ML_DSA_SHAKE256,                 signContext                  },
    { CKM_SLH_DSA,                              signContext                  },
    { CKM_HASH_SLH_DSA_SHA224,                  signContext                  },
    { CKM_HASH_SLH_DSA_SHA256,                  signContext                  },
    { CKM_HASH_SLH_DSA_SHA384,                  signContext                  },
    { CKM_HASH_SLH_DSA_SHA512,                  signContext                  },
    { CKM_HASH_SLH_DSA_SHA3_224,                signContext                  },
    { CKM_HASH_SLH_DSA_SHA3_256,                signContext                  },
    { CKM_HASH_SLH_DSA_SHA3_384,                signContext                  },
    { CKM_HASH_SLH_DSA_SHA3_512,                signContext                  },
    { CKM_HASH_SLH_DSA_SHAKE128,                signContext                  },
    { CKM_HASH_SLH_DSA_SHAKE256,                signContext                  },

    // CK_HASH_SIGN_ADDITIONAL_CONTEXT
    { CKM_HASH_ML_DSA,                          hashSignContext              },
    { CKM_HASH_SLH_DSA,                         hashSignContext              },

    // CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS; the version comes back where there is one
    { CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE,     tls12ExtendedMasterKeyDerive },
    { CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE_DH,  tls12ExtendedMasterKeyDerive },

    // CK_ECDH_AES_KEY_WRAP_PARAMS
    { CKM_ECDH_X_AES_KEY_WRAP,                  ecdhAesKeyWrap               },
    { CKM_ECDH_COF_AES_KEY_WRAP,                ecdhAesKeyWrap               },
    // clang-format on
};

// The first 180 rows stay as they are; those of later editions follow.
static_assert(MechanismParameterTable[180 - 1].mechanism == CKM_SHA224_RSA_PKCS_PSS);
static_assert(std::size(MechanismParameterTable) == 180 + 115);

constexpr auto sorted = sortedRows(MechanismParameterTable, &MechanismParameter::mechanism);

} // namespace

ParameterKind mechanismParameterKind(CK_MECHANISM_TYPE mechanism)
{
    const auto* row = findRow(MechanismParameterTable, sorted, &MechanismParameter::mechanism, mechanism);
    return row != nullptr ? row->kind : raw;
}
