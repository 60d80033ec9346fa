package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.nat.*;
import java.lang.reflect.*;
import java.math.*;
import java.nio.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;

/** The native methods, found by reflection, and a plain call of each. */
final class Calls {
    static final List<Class<?>> RECEIVERS = List.of(NativePKCS11.class, NativePKCS11Slot.class,
        NativePKCS11Session.class, NativePKCS11Object.class);
    /** The class of the native methods beyond the 89. */
    static final Class<?> EXTENSIONS = Assertions.assertDoesNotThrow(
        () -> Class.forName("com.kelvane.pkcs11.nat.NativeExtensions"));

    /** A template with attributes of each kind that the scripted token has by itself. */
    private static final int[] TYPES = {CKA_TOKEN, CKA_CLASS, CKA_LABEL, CKA_VALUE, CKA_START_DATE, CKA_MODULUS,
        CKA_ALLOWED_MECHANISMS};
    private static final Object[] VALUES = {true, 3, "label", new byte[] {1, 2}, new Date(0), BigInteger.TEN,
        new int[] {1, 2}};
    private static final Map<String, Integer> ATTRIBUTES = Map.of("Bool", CKA_TOKEN, "IntA", CKA_CLASS, "Byte",
        CKA_VALUE, "Date", CKA_START_DATE, "BigI", CKA_MODULUS);

    static Stream<Method> nativeMethods(Class<?> type) {
        return Arrays.stream(type.getDeclaredMethods()).filter(each -> Modifier.isNative(each.getModifiers()))
            .peek(each -> each.setAccessible(true)).sorted(Comparator.comparing(Method::getName));
    }

    static Object invoke(Method method, Object receiver, Object... arguments) throws Throwable {
        try {
            return method.invoke(receiver, arguments);
        } catch (InvocationTargetException e) {
            throw e.getCause();
        }
    }

    /** The session, or an object of a class above or below it. */
    static Object receiver(Class<?> type, NativePKCS11Session session, long object) {
        return type == NativePKCS11.class ? session.getSlot().getPKCS11()
            : type == NativePKCS11Slot.class ? session.getSlot() : type == NativePKCS11Session.class ? session
            : type == NativePKCS11Object.class ? new NativePKCS11Object(session, object) : null;
    }

    /** Numbers are 3: a mechanism without a parameter, flags, offsets and lengths within 8 bytes. */
    private static Object argument(String method, Class<?> type, NativePKCS11Session session, long object) {
        if (type == int.class) {
            return method.equals("getAttributeValues") ? TYPES.length : !method.contains("Attribute") ? 3
                : ATTRIBUTES.getOrDefault(method.substring(3, 7), CKA_LABEL);
        }
        boolean isText = method.matches("login.*|initPIN|setPIN|initToken|setAttributeValue");
        return type == boolean.class ? true : type == int[].class ? TYPES : type == Object[].class ? VALUES
            : type == byte[].class ? new byte[8] : type == ByteBuffer.class ? ByteBuffer.allocateDirect(8)
            : type == Object.class && isText ? "label" : receiver(type, session, object);
    }

    /**
     * A plain call of every native method but those that load, initialise and finalise a library, and a derivation with
     * a parameter of every class.
     */
    static Map<String, Executable> plain(NativePKCS11Session session, long object) throws Exception {
        Map<String, Executable> calls = new LinkedHashMap<>();
        Stream.concat(RECEIVERS.stream(), Stream.of(EXTENSIONS)).flatMap(Calls::nativeMethods)
            .filter(each -> !each.getName().matches("lib.*|load.*|describe.*")).forEach(method -> {
                Class<?> type = method.getDeclaringClass();
                calls.put(type.getSimpleName() + "." + method.getName(), () -> invoke(method,
                    receiver(type, session, object), Arrays.stream(method.getParameterTypes())
                    .map(each -> argument(method.getName(), each, session, object)).toArray()));
            });
        NativePKCS11Object key = new NativePKCS11Object(session, object);
        Map<String, Object[]> examples = MechanismTest.examples(key);
        Harness.mechanisms().forEach((mechanism, kind) -> {
            Object[] example = examples.get(kind.replace(" or none", ""));
            if (example != null) {
                calls.putIfAbsent("deriveKey with " + kind,
                    () -> session.deriveKey(mechanism, example[1], key, TYPES, VALUES));
            }
        });
        return calls;
    }
}
