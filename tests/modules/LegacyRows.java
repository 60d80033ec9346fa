package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Jdk.*;
import static com.kelvane.tokbridge.tool.trials.KeyKind.*;
import static com.kelvane.tokbridge.tool.trials.Operations.*;

import com.kelvane.pkcs11.*;
import com.kelvane.tokbridge.tool.commands.Main;
import java.util.Arrays;
import javax.crypto.spec.IvParameterSpec;

/** The tool, with rows in its table for what only old modules offer. */
final class LegacyRows {
    private static final byte[] IV8 = Arrays.copyOf(IV, 8);
    private static final IvParameterSpec JDK_IV8 = new IvParameterSpec(IV8);

    private LegacyRows() {
    }

    public static void main(String[] arguments) {
        domain(CKM_DSA_PARAMETER_GEN);
        domain(CKM_DH_PKCS_PARAMETER_GEN);
        hash("MD2");
        blockCipher("SEED", SEED, 16);
        row(Use.CIPHER, CKM_DES_OFB64, DES, IV8).as(cipher("DES/OFB/NoPadding", JDK_IV8));
        row(Use.CIPHER, CKM_DES_CFB64, DES, IV8).as(cipher("DES/CFB64/NoPadding", JDK_IV8));
        row(Use.CIPHER, CKM_DES_CFB8, DES, IV8).as(cipher("DES/CFB8/NoPadding", JDK_IV8));
        row(Use.CIPHER, CKM_BLOWFISH_CBC, BLOWFISH, IV8).of((key, message) -> BLOCKS)
            .as(cipher("Blowfish/CBC/NoPadding", JDK_IV8));
        row(Use.CIPHER, CKM_BLOWFISH_CBC_PAD, BLOWFISH, IV8).as(cipher("Blowfish/CBC/PKCS5Padding", JDK_IV8));
        row(Use.CIPHER, CKM_RC2_ECB, RC2, new PKCS11MechPar_RC2(128)).of((key, message) -> BLOCKS);
        row(Use.CIPHER, CKM_RC2_CBC, RC2, new PKCS11MechPar_RC2_CBC(128, IV8)).of((key, message) -> BLOCKS);
        row(Use.CIPHER, CKM_RC2_CBC_PAD, RC2, new PKCS11MechPar_RC2_CBC(128, IV8))
            .as(cipher("RC2/CBC/PKCS5Padding", JDK_IV8));
        row(Use.MAC, CKM_RC2_MAC, RC2, new PKCS11MechPar_RC2(128));
        row(Use.MAC, CKM_RC2_MAC_GENERAL, RC2, new PKCS11MechPar_RC2_GENMAC(128, SHORT_MAC));
        row(Use.CIPHER, CKM_RC4, RC4, null).as(cipher("ARCFOUR", null));
        row(Use.MAC, CKM_SSL3_MD5_MAC, GENERIC, SHORT_MAC);
        row(Use.MAC, CKM_SSL3_SHA1_MAC, GENERIC, SHORT_MAC);
        Main.main(arguments);
    }

    private static void domain(int mechanism) {
        row(new Use("new domain", CKF_GENERATE, 0, 0, attempt -> {
            int bits = Math.max(512, attempt.session.getSlot().getMechanismInfo(mechanism).getMinKeySize());
            PKCS11Object domain = attempt.token.create(place -> attempt.session.generateKey(mechanism, null,
                Template.of(CKA_PRIME_BITS, bits).and(place)));
            Verdict.require(domain.getBigIntegerAttributeValue(CKA_PRIME).bitLength() == bits, "another size");
            return "the prime has " + bits + " bits";
        }), mechanism, null, null);
    }
}
