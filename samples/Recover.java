import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.util.function.Consumer;

/** Draws random bytes at each line of input, also after a lost session or a restart of the module's server. */
public final class Recover implements AutoCloseable {
    private final String module, label, pin;
    private NativePKCS11 library = new NativePKCS11();
    private NativePKCS11Session session;

    public static void main(String[] arguments) throws Exception {
        byte[] random = new byte[16];
        String pin = System.getenv("TOKEN_PIN");
        if (pin == null || pin.isEmpty()) { // null means the token's PIN pad, an empty PIN counts as wrong
            throw new IllegalStateException("TOKEN_PIN is not set");
        }
        try (Recover token = new Recover(arguments[0], arguments[1], pin)) {
            while (System.in.read() >= 0) {
                token.run(session -> session.generateRandom(random, 0, random.length));
                System.out.println("drawn");
            }
        }
    }
    Recover(String module, String label, String pin) {
        this.module = module;
        this.label = label;
        this.pin = pin;
    }
    /** Does work that may be done twice: a failed attempt may have been complete. */
    void run(Consumer<NativePKCS11Session> work) throws InterruptedException {
        for (int attempt = 1;; attempt++) {
            try {
                session = session == null ? open() : session;
                work.accept(session);
                return;
            } catch (PKCS11Exception e) {
                close();
                if (attempt == 5 || e.getCode() == CKR_PIN_INCORRECT) { // another attempt would lock the token
                    throw e;
                }
                Thread.sleep(200L * attempt);
            }
        }
    }
    private NativePKCS11Session open() {
        library = new NativePKCS11(); // objects of the library's former life cannot be used any more
        library.load(module);
        library.libInitialize();
        NativePKCS11Session opened = library.findSlot(label) // slot ids may have changed
            .orElseThrow(() -> new PKCS11Exception(CKR_TOKEN_NOT_PRESENT)).openSession(CKF_SERIAL_SESSION, null);
        opened.login(false, pin);
        return opened;
    }
    @Override public void close() {
        session = null;
        try {
            library.close(); // ends the session too
        } catch (PKCS11Exception e) { } // the library is released nevertheless
    }
}
