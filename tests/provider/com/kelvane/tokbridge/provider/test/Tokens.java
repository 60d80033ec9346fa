package com.kelvane.tokbridge.provider.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.pkcs11.provider.*;
import java.nio.file.*;
import java.security.*;
import java.util.*;

/** The token of these tests: SoftHSM2's in a scratch directory, or that of a module brought up by tests/modules. */
final class Tokens {
    private static final Map<String, String> ENVIRONMENT = System.getenv();
    static final String SOFTHSM = System.getProperty("tokbridge.test.softhsm");
    static final boolean IS_SOFTHSM = !ENVIRONMENT.containsKey("TOKEN");
    static final String MODULE = IS_SOFTHSM ? SOFTHSM : ENVIRONMENT.get("PKCS11_MODULE");
    static final boolean IS_NSS = ENVIRONMENT.getOrDefault("MODULE", "").contains("softokn");
    static final String LABEL = IS_SOFTHSM ? "the token" : ENVIRONMENT.get("TOKEN");
    static final String PIN = IS_SOFTHSM ? "1234" : ENVIRONMENT.get("PIN");
    private static final String OFFICER_PIN = IS_SOFTHSM ? "officer" : ENVIRONMENT.get("SO_PIN");

    /** Whether the module makes session keys; the TPM's keeps keys on the token, and ykcs11 lets only the officer. */
    static final boolean HAS_SESSION_KEYS = !MODULE.matches(".*(tpm2_pkcs11|ykcs11).*");
    static final boolean MAKES_KEYS = !MODULE.contains("ykcs11");
    static final Random RANDOM = new Random(20261122);

    static {
        create(MODULE, LABEL, PIN, OFFICER_PIN);
    }

    /** The provider of the token, and a key store on it whose load has logged in. */
    static final Provider PROVIDER = new TokbridgeProvider().configure(uri(MODULE, LABEL));

    private Tokens() {
    }

    static String uri(String module, String label) {
        return "pkcs11:token=" + label.replace(" ", "%20") + "?module-path=" + module;
    }

    /** Initialises a token, unless there is one with the label or none to be initialised. */
    static void create(String module, String label, String pin, String officerPin) {
        NativePKCS11 library = new NativePKCS11();
        library.load(module);
        library.libInitialize();
        if (library.findSlot(label).isEmpty() && officerPin != null && !officerPin.isEmpty()) {
            library.slotsWithTokens().filter(slot -> !slot.getTokenInfo().isInitialized()).findFirst().orElseThrow()
                .initToken(officerPin, label);
            library.libFinalize(); // SoftHSM2 moves an initialised token to another slot
            library.load(module);
            library.libInitialize();
            NativePKCS11Session session = library.findSlot(label).orElseThrow()
                .openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null);
            session.login(true, officerPin);
            session.initPIN(pin);
            session.logout();
            session.close();
        }
        library.libFinalize();
    }

    static KeyStore keyStore(Provider provider, String pin) throws Exception {
        KeyStore store = KeyStore.getInstance("PKCS11", provider);
        store.load(null, pin.toCharArray());
        return store;
    }

    /** Logs in, and enters the provider for programs that name none. */
    static void login() throws Exception {
        keyStore(PROVIDER, PIN);
        Security.addProvider(PROVIDER);
    }

    static boolean has(String type, String algorithm) {
        return PROVIDER.getService(type, algorithm) != null;
    }

    static byte[] random(int length) {
        byte[] bytes = new byte[length];
        RANDOM.nextBytes(bytes);
        return bytes;
    }
}
