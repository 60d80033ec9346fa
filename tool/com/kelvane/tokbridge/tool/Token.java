package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11SessionInfo;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.security.SecureRandom;
import java.util.Arrays;
import java.util.function.Predicate;

/**
 * The token of the tour: made in a slot whose token is not initialised, so that no other one is touched. One session
 * stays open, with the user logged in; it holds the keys that several steps use. Each step works in a session of its
 * own, so that an operation that a failure left open does not disturb the next one.
 */
final class Token {
    private static final int READ_WRITE = CKF_SERIAL_SESSION | CKF_RW_SESSION;

    /** What a step does in its session. */
    interface InSession {
        void run(NativePKCS11Session session) throws Exception;
    }

    private final Tour tour;
    private final ModuleSteps module;
    private final SecureRandom random = new SecureRandom();
    private final byte[] userPin = digits();
    private PKCS11Slot slot;
    private NativePKCS11Session session;

    Token(Tour tour, ModuleSteps module) {
        this.tour = tour;
        this.module = module;
    }

    /** The session that stays open. */
    NativePKCS11Session session() {
        return session;
    }

    /** Opens one more session. */
    NativePKCS11Session openSession() {
        return slot.openSession(READ_WRITE, null);
    }

    /** Runs a step in a session of its own, which takes with it the session objects made there. */
    boolean step(String title, InSession body) {
        return tour.step(title, () -> {
            try (NativePKCS11Session own = openSession()) {
                body.run(own);
            }
        });
    }

    /** The same for a step about a mechanism, which is left out where the token does not offer it. */
    void step(String title, int mechanism, InSession body) {
        if (Arrays.stream(slot.getMechanismList()).anyMatch(offered -> offered == mechanism)) {
            step(title, body);
        } else {
            tour.leaveOut(title, nameOf("CKM_", mechanism));
        }
    }

    boolean initialize() {
        return tour.step("Initialise a token", () -> {
            byte[] officerPin = digits();
            String label = "quickstart " + new String(digits(), StandardCharsets.US_ASCII);
            PKCS11Slot empty = findSlot(token -> !token.isInitialized());
            empty.initToken(officerPin, label);
            try (NativePKCS11Session officer = empty.openSession(READ_WRITE, null)) {
                officer.login(true, officerPin);
                officer.initPIN(userPin);
                officer.logout();
            }

            // The token may stand in another slot after the next start: only its label tells which.
            module.restart();
            slot = findSlot(token -> token.getLabel().equals(label));
            tour.note("\"" + label + "\", made in " + empty + ", found again in " + slot);
            PKCS11TokenInfo info = slot.getTokenInfo();
            tour.check("it is initialised and has a user PIN", info.isInitialized() && info.isUserPinInitialized());
        });
    }

    boolean open() {
        return tour.step("Session and login", () -> {
            byte[] wrongPin = userPin.clone();
            wrongPin[0] ^= 1;
            try (NativePKCS11Session reader = slot.openSession(CKF_SERIAL_SESSION, null)) {
                tour.check("a session without login is public", reader.getInfo().getState() == CKS_RO_PUBLIC_SESSION);
            }
            session = openSession();
            tour.checkRefused("a wrong PIN is refused", () -> session.login(false, wrongPin), CKR_PIN_INCORRECT);
            session.login(false, userPin);
            PKCS11SessionInfo info = session.getInfo();
            tour.note(session + ": " + info);
            tour.check("the user may read and write", info.getState() == CKS_RW_USER_FUNCTIONS && info.isReadWrite());
        });
    }

    void drawRandom() {
        tour.step("Random bytes", () -> {
            byte[] bytes = new byte[64];
            session.generateRandom(bytes, 0, 24);
            session.generateRandom(bytes, 32, 24);
            byte[] first = Arrays.copyOf(bytes, 24);
            byte[] second = Arrays.copyOfRange(bytes, 32, 56);
            byte[] zeros = new byte[8];
            tour.check("random bytes differ from one call to the next", !Arrays.equals(first, second));
            tour.check("they fill the part asked for and no more", !Arrays.equals(bytes, 16, 24, zeros, 0, 8)
                && Arrays.equals(bytes, 24, 32, zeros, 0, 8) && Arrays.equals(bytes, 56, 64, zeros, 0, 8));
        });
    }

    void close() {
        tour.step("Log out and close", () -> {
            Arrays.fill(userPin, (byte) 0);
            session.logout();
            session.close();
            tour.checkRefused("the session is gone", session::getInfo, CKR_SESSION_HANDLE_INVALID);
        });
    }

    private PKCS11Slot findSlot(Predicate<PKCS11TokenInfo> wanted) {
        return Arrays.stream(module.library().getSlotList(true)).filter(slot -> wanted.test(slot.getTokenInfo()))
            .findFirst().orElseThrow(() -> new IllegalStateException("no slot has the token looked for"));
    }

    /** Eight random digits. */
    private byte[] digits() {
        byte[] digits = new byte[8];
        for (int i = 0; i < digits.length; i++) {
            digits[i] = (byte) ('0' + random.nextInt(10));
        }
        return digits;
    }
}
