package app;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;

/** Draws random bytes from the first token of the module that its argument names. */
public final class App {
    public static void main(String[] arguments) {
        NativePKCS11 library = new NativePKCS11();
        library.load(arguments[0]);
        library.libInitialize();
        PKCS11Slot slot = library.getSlotList(true)[0];
        byte[] bytes = new byte[16];
        try (NativePKCS11Session session = (NativePKCS11Session) slot.openSession(PKCS11Constants.CKF_SERIAL_SESSION,
            null)) {
            session.generateRandom(bytes, 0, bytes.length);
        }
        library.libFinalize();
        System.out.println("random " + new java.math.BigInteger(bytes).signum() + " in "
            + (App.class.getModule().isNamed() ? "a module" : "the class path"));
    }
}
