// The debug lines of the ECDH1, OAEP and PSS parameters. Tools parse these texts: they stay as they are, odd ones
// included.

#include "bridge/diagnostics.h"
#include "bridge/java_numbers.h"
#include "marshal/parameters.h"

namespace {

constexpr const char* kSeparator = "=======================================================\n";

constexpr const char* kHashes =
    "tokbridge:  SHA1    SHA-1    SHA                                                             ==>  mechID = 0x220  "
    "0d544 \n"
    "tokbridge:  SHA224  SHA-224               2.16.840.1.101.3.4.2.4  OID.2.16.840.1.101.3.4.2.4 ==>  mechID = 0x255  "
    "0d597 \n"
    "tokbridge:  SHA256  SHA-256  SHA2  SHA-2  2.16.840.1.101.3.4.2.1  OID.2.16.840.1.101.3.4.2.1 ==>  mechID = 0x250  "
    "0d592 \n"
    "tokbridge:  SHA384  SHA-384  SHA3  SHA-3  2.16.840.1.101.3.4.2.2  OID.2.16.840.1.101.3.4.2.2 ==>  mechID = 0x260  "
    "0d608 \n"
    "tokbridge:  SHA512  SHA-512  SHA5  SHA-5  2.16.840.1.101.3.4.2.3  OID.2.16.840.1.101.3.4.2.3 ==>  mechID = 0x270  "
    "0d624 \n\n";

constexpr const char* kMaskGenerators = "tokbridge:      int CKG_MGF1_SHA1   =  0x00000001; \n"
                                        "tokbridge:      int CKG_MGF1_SHA256 =  0x00000002; \n"
                                        "tokbridge:      int CKG_MGF1_SHA384 =  0x00000003; \n"
                                        "tokbridge:      int CKG_MGF1_SHA512 =  0x00000004; \n"
                                        "tokbridge:      int CKG_MGF1_SHA224 =  0x00000005; \n\n";

constexpr const char* kDerivationFunctions = "tokbridge:      int CKD_NULL       =  0x00000001; \n"
                                             "tokbridge:      int CKD_SHA1_KDF   =  0x00000002; \n"
                                             "tokbridge:      int CKD_SHA224_KDF =  0x00000005; \n"
                                             "tokbridge:      int CKD_SHA256_KDF =  0x00000006; \n"
                                             "tokbridge:      int CKD_SHA384_KDF =  0x00000007; \n"
                                             "tokbridge:      int CKD_SHA512_KDF =  0x00000008; \n";

void printBytes(const char* label, const void* bytes, CK_ULONG count)
{
    debugPrint("%s", label);
    for (CK_ULONG i = 0; i < count; ++i)
        debugPrint("%02X", static_cast<const CK_BYTE*>(bytes)[i]);
    debugPrint("<\n");
}

void printNumber(const char* encoder, const char* label, CK_ULONG value)
{
    debugPrint("tokbridge:  %s: %s>%d<\n", encoder, label, static_cast<int>(toJava(value)));
}

// The beginning of the OAEP and PSS traces.
void printPaddingHead(const char* padding)
{
    debugFlush();
    debugPrint("\n%s", kSeparator);
    debugPrint("tokbridge:  VALID VALUES FOR FIRST %s PARAMETER (val-->hashAlg) ARE:  \n%s", padding, kHashes);
    debugPrint("tokbridge:  VALID VALUES FOR SECOND %s PARAMETER (val-->mgf) ARE:  \n%s", padding, kMaskGenerators);
    debugPrint("tokbridge:  THE %s PARAMETERS RECEIVED ON THIS CALL ARE:  \n", padding);
}

void printPaddingTail(const char* encoder)
{
    debugPrint("tokbridge:  %s: Return to caller\n%s", encoder, kSeparator);
    debugFlush();
}

} // namespace

void traceECDH1(const CK_ECDH1_DERIVE_PARAMS& ecdh)
{
    constexpr const char* encoder = "encodedECDH1_DERIVE";
    debugFlush();
    debugPrint("\n%s", kSeparator);
    debugPrint("tokbridge:  encodedECDH1_DERIVE():  Printing the Java KDFParameterSpec parameters received.\n");
    debugPrint("tokbridge:  VALID VALUES FOR THE KDF (val-->kdf) ARE:  \n%s", kDerivationFunctions);
    debugPrint("\ntokbridge:  THE KDFParameterSpec PARAMETERS RECEIVED ON THIS CALL ARE:  \n");
    printNumber(encoder, "val->kdf               ", ecdh.kdf);
    printNumber(encoder, "val->ulSharedDataLen   ", ecdh.ulSharedDataLen);
    printBytes("tokbridge:  encodedECDH1_DERIVE: val->pSharedData       >", ecdh.pSharedData, ecdh.ulSharedDataLen);
    debugPrint("\ntokbridge:  encodedECDH1_DERIVE(): Returning to caller\n%s", kSeparator);
    debugFlush();
}

void traceOAEP(const CK_RSA_PKCS_OAEP_PARAMS& oaep)
{
    constexpr const char* encoder = "encode_RSA_PKCS_OAEP_PARAMS";
    printPaddingHead("OAEP");
    printNumber(encoder, "val->hashAlg           ", oaep.hashAlg);
    printNumber(encoder, "val->mgf               ", oaep.mgf);
    printNumber(encoder, "val->source            ", oaep.source);
    printNumber(encoder, "val->ulSourceDataLen   ", oaep.ulSourceDataLen);
    printBytes("tokbridge:  encode_RSA_PKCS_OAEP_PARAMS: val->pSourceData       >", oaep.pSourceData,
               oaep.ulSourceDataLen);
    printNumber(encoder, "*len ", sizeof oaep);
    printBytes("tokbridge:  encode_RSA_PKCS_OAEP_PARAMS: CK_RSA_PKCS_OAEP_PARAMS >", &oaep, sizeof oaep);
    printPaddingTail(encoder);
}

void tracePSS(const CK_RSA_PKCS_PSS_PARAMS& pss)
{
    constexpr const char* encoder = "encode_RSA_PKCS_PSS_PARAMS";
    printPaddingHead("PSS");
    printNumber(encoder, "val->hashAlg           ", pss.hashAlg);
    printNumber(encoder, "val->mgf               ", pss.mgf);
    printNumber(encoder, "val->sLen   ", pss.sLen);
    debugPrint("<\n"); // closes the bytes that this trace does not have
    printNumber(encoder, "*len ", sizeof pss);
    printBytes("tokbridge:  encode_RSA_PKCS_PSS_PARAMS: CK_RSA_PKCS_PSS_PARAMS >", &pss, sizeof pss);
    printPaddingTail(encoder);
}
