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

/** The token of the tour: made in a slot whose token is not initialised, so that no other one is touched. */
final class NewToken {
    private static final int READ_WRITE = CKF_SERIAL_SESSION | CKF_RW_SESSION;

    private final Tour tour;
    private final ModuleSteps module;
    private final SecureRandom random = new SecureRandom();
    private final byte[] userPin = digits();
    private PKCS11Slot slot;
    private NativePKCS11Session session;

    NewToken(Tour tour, ModuleSteps module) {
        this.tour = tour;
        this.module = module;
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

    /** Opens a session and logs in; null if that fails. */
    Token open() {
        boolean opened = tour.step("Session and login", () -> {
            byte[] wrongPin = userPin.clone();
            wrongPin[0] ^= 1;
            try (NativePKCS11Session reader = slot.openSession(CKF_SERIAL_SESSION, null)) {
                tour.check("a session without login is public", reader.getInfo().getState() == CKS_RO_PUBLIC_SESSION);
            }
            session = slot.openSession(READ_WRITE, null);
            tour.checkRefused("a wrong PIN is refused", () -> session.login(false, wrongPin), CKR_PIN_INCORRECT);
            session.login(false, userPin);
            PKCS11SessionInfo info = session.getInfo();
            tour.note(session + ": " + info);
            tour.check("the user may read and write", info.getState() == CKS_RW_USER_FUNCTIONS && info.isReadWrite());
        });
        return opened ? new Token(tour, slot, session, true) : null;
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
        return module.library().slotsWithTokens().filter(slot -> wanted.test(slot.getTokenInfo())).findFirst()
            .orElseThrow(() -> new IllegalStateException("no slot has the token looked for"));
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
