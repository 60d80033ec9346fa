package com.kelvane.tokbridge.fuzz;

import com.kelvane.pkcs11.CK_AES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_AES_CTR_PARAMS;
import com.kelvane.pkcs11.CK_CCM_PARAMS;
import com.kelvane.pkcs11.CK_DES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_ECDH1_DERIVE_PARAMS;
import com.kelvane.pkcs11.CK_ECDH_AES_KEY_WRAP_PARAMS;
import com.kelvane.pkcs11.CK_ECMQV_DERIVE_PARAMS;
import com.kelvane.pkcs11.CK_EDDSA_PARAMS;
import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.CK_HKDF_PARAMS;
import com.kelvane.pkcs11.CK_KEY_DERIVATION_STRING_DATA;
import com.kelvane.pkcs11.CK_RSA_AES_KEY_WRAP_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_PSS_PARAMS;
import com.kelvane.pkcs11.CK_SALSA20_CHACHA20_POLY1305_PARAMS;
import com.kelvane.pkcs11.CK_SSL3_KEY_MAT_OUT;
import com.kelvane.pkcs11.CK_SSL3_KEY_MAT_PARAMS;
import com.kelvane.pkcs11.CK_SSL3_MASTER_KEY_DERIVE_PARAMS;
import com.kelvane.pkcs11.CK_SSL3_RANDOM_DATA;
import com.kelvane.pkcs11.CK_TLS_PRF_PARAMS;
import com.kelvane.pkcs11.CK_VERSION;
import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11MechPar_PBE;
import com.kelvane.pkcs11.PKCS11MechPar_RC2;
import com.kelvane.pkcs11.PKCS11MechPar_RC2_CBC;
import com.kelvane.pkcs11.PKCS11MechPar_RC2_GENMAC;
import com.kelvane.pkcs11.PKCS11MechPar_RC5;
import com.kelvane.pkcs11.PKCS11MechPar_RC5_CBC;
import com.kelvane.pkcs11.PKCS11MechPar_RC5_GENMAC;
import com.kelvane.pkcs11.PKCS11RawParameter;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.lang.reflect.Field;
import java.math.BigInteger;
import java.util.Arrays;
import java.util.Date;
import java.util.List;
import java.util.Map;
import java.util.Queue;
import java.util.Random;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.function.Function;
import java.util.function.Supplier;

/** Random values of every type that a native method takes: plain, odd and hostile ones. */
final class Arguments {
    /** What a hostile value throws from its own methods. */
    static final class Hostile extends RuntimeException {
        private static final long serialVersionUID = 1L;
    }

    /** A number that lies about its length, or throws when it is asked. */
    private static final class HostileNumber extends BigInteger {
        private static final long serialVersionUID = 1L;
        private final int mood;

        HostileNumber(int mood) {
            super("123456789012345678901234567890");
            this.mood = mood;
        }

        @Override
        public int bitLength() {
            return mood == 0 ? -1 : mood == 1 ? Integer.MAX_VALUE : mood == 2 ? 0 : fail();
        }

        @Override
        public byte[] toByteArray() {
            return mood == 4 ? null : mood == 5 ? new byte[0] : mood == 6 ? new byte[1 << 16] : super.toByteArray();
        }

        private static int fail() {
            throw new Hostile();
        }
    }

    private static final int[] EDGES = {-1, 0, 1, 2, 3, 7, 8, 15, 16, 17, 20, 255, 256, 4096, 65536, Integer.MAX_VALUE,
        Integer.MIN_VALUE, Integer.MAX_VALUE - 7, Integer.MIN_VALUE + 1};
    private static final int[] LENGTHS = {0, 1, 7, 8, 9, 12, 16, 19, 20, 21, 64, 4096, 1 << 18};
    private static final int HUGE = 8 << 20;
    private static final Object KEEP = new Object();
    private static final int[] MECHANISMS = constants("CKM_");
    private static final int[] ATTRIBUTES = constants("CKA_");

    private static final Map<Class<?>, Supplier<Object>> PARAMETERS = Map.ofEntries(
        Map.entry(CK_AES_CBC_ENCRYPT_DATA_PARAMS.class, CK_AES_CBC_ENCRYPT_DATA_PARAMS::new),
        Map.entry(CK_AES_CTR_PARAMS.class, CK_AES_CTR_PARAMS::new),
        Map.entry(CK_CCM_PARAMS.class, CK_CCM_PARAMS::new),
        Map.entry(CK_DES_CBC_ENCRYPT_DATA_PARAMS.class, CK_DES_CBC_ENCRYPT_DATA_PARAMS::new),
        Map.entry(CK_ECDH1_DERIVE_PARAMS.class, CK_ECDH1_DERIVE_PARAMS::new),
        Map.entry(CK_ECDH_AES_KEY_WRAP_PARAMS.class, CK_ECDH_AES_KEY_WRAP_PARAMS::new),
        Map.entry(CK_ECMQV_DERIVE_PARAMS.class, CK_ECMQV_DERIVE_PARAMS::new),
        Map.entry(CK_EDDSA_PARAMS.class, CK_EDDSA_PARAMS::new),
        Map.entry(CK_GCM_PARAMS.class, CK_GCM_PARAMS::new),
        Map.entry(CK_HKDF_PARAMS.class, CK_HKDF_PARAMS::new),
        Map.entry(CK_KEY_DERIVATION_STRING_DATA.class, CK_KEY_DERIVATION_STRING_DATA::new),
        Map.entry(CK_RSA_AES_KEY_WRAP_PARAMS.class, CK_RSA_AES_KEY_WRAP_PARAMS::new),
        Map.entry(CK_RSA_PKCS_OAEP_PARAMS.class, CK_RSA_PKCS_OAEP_PARAMS::new),
        Map.entry(CK_RSA_PKCS_PSS_PARAMS.class, CK_RSA_PKCS_PSS_PARAMS::new),
        Map.entry(CK_SALSA20_CHACHA20_POLY1305_PARAMS.class, CK_SALSA20_CHACHA20_POLY1305_PARAMS::new),
        Map.entry(CK_SSL3_KEY_MAT_OUT.class, CK_SSL3_KEY_MAT_OUT::new),
        Map.entry(CK_SSL3_KEY_MAT_PARAMS.class, CK_SSL3_KEY_MAT_PARAMS::new),
        Map.entry(CK_SSL3_MASTER_KEY_DERIVE_PARAMS.class, CK_SSL3_MASTER_KEY_DERIVE_PARAMS::new),
        Map.entry(CK_SSL3_RANDOM_DATA.class, CK_SSL3_RANDOM_DATA::new),
        Map.entry(CK_TLS_PRF_PARAMS.class, CK_TLS_PRF_PARAMS::new),
        Map.entry(CK_VERSION.class, CK_VERSION::new),
        Map.entry(PKCS11MechPar_PBE.class, PKCS11MechPar_PBE::new),
        Map.entry(PKCS11MechPar_RC2.class, PKCS11MechPar_RC2::new),
        Map.entry(PKCS11MechPar_RC2_CBC.class, PKCS11MechPar_RC2_CBC::new),
        Map.entry(PKCS11MechPar_RC2_GENMAC.class, PKCS11MechPar_RC2_GENMAC::new),
        Map.entry(PKCS11MechPar_RC5.class, PKCS11MechPar_RC5::new),
        Map.entry(PKCS11MechPar_RC5_CBC.class, PKCS11MechPar_RC5_CBC::new),
        Map.entry(PKCS11MechPar_RC5_GENMAC.class, PKCS11MechPar_RC5_GENMAC::new),
        Map.entry(PKCS11RawParameter.class, PKCS11RawParameter::new));

    private final Random random;
    private final List<Class<?>> parameters;
    private final Queue<Object> made = new ConcurrentLinkedQueue<>();
    private NativePKCS11Object object;
    private int length;

    Arguments(Random random) {
        this.random = random;
        Class<?>[] types = PARAMETERS.keySet().toArray(new Class<?>[0]);
        Arrays.sort(types, (a, b) -> a.getName().compareTo(b.getName()));
        parameters = List.of(types);
    }

    /** Begins the arguments of another call, in which this object may appear. */
    void newCall(NativePKCS11Object key) {
        object = key;
        length = random.nextInt(6);
        made.clear();
    }

    /** Changes the arrays and parameter objects of the call in progress; for another thread, with its own decisions. */
    void disturb(Random other) {
        byte[][] lengths = {new byte[0], new byte[1], new byte[5000], null};
        for (Object each : made) {
            if (each instanceof Object[] && ((Object[]) each).length > 0) {
                Object[] values = (Object[]) each;
                Object value = other.nextBoolean() ? lengths[other.nextInt(4)] : "y".repeat(9000);
                values[other.nextInt(values.length)] = value;
            } else {
                setFields(each, type -> type == byte[].class ? lengths[other.nextInt(4)]
                    : type == int.class ? EDGES[other.nextInt(EDGES.length)] : KEEP);
            }
        }
    }

    /** A number: an edge, a mechanism, an attribute type, or any at all. */
    int number() {
        switch (random.nextInt(6)) {
        case 0: return pick(MECHANISMS);
        case 1: return pick(ATTRIBUTES);
        case 2: return random.nextInt(24);
        case 3: return random.nextInt();
        default: return pick(EDGES);
        }
    }

    /** A value of a parameter's or field's type; null for one that is not known. */
    Object of(Class<?> type) {
        if (type == int.class) {
            return number();
        }
        if (type == byte.class) {
            return (byte) random.nextInt();
        }
        if (type == boolean.class) {
            return random.nextBoolean();
        }
        if (random.nextInt(12) == 0) {
            return null;
        }
        if (type == byte[].class) {
            return bytes();
        }
        if (type == int[].class) {
            return random.ints(lengthOfArray(), 0, 9).map(i -> i == 0 ? number() : pick(ATTRIBUTES)).toArray();
        }
        if (type == Object[].class) {
            Object[] values = new Object[lengthOfArray()];
            Arrays.setAll(values, i -> value());
            made.add(values);
            return values;
        }
        if (type == NativePKCS11Object.class) {
            return object;
        }
        return PARAMETERS.containsKey(type) ? parameter(type) : type == Object.class ? value() : null;
    }

    /** Now and then two arrays that should be of one length are not. */
    private int lengthOfArray() {
        return random.nextInt(10) == 0 ? random.nextInt(8) : length;
    }

    private byte[] bytes() {
        byte[] bytes = new byte[random.nextInt(400) == 0 ? HUGE : pick(LENGTHS)];
        Arrays.fill(bytes, (byte) random.nextInt());
        return bytes;
    }

    private Object value() {
        switch (random.nextInt(12)) {
        case 0: return random.nextBoolean();
        case 1: return number();
        case 2: return bytes();
        case 3: return "x\0\u20ac\ud83d\ude00\udc00".repeat(pick(new int[] {0, 1, 2, 9, 40000}));
        case 4: return new Date(random.nextBoolean() ? random.nextLong() : random.nextInt() * 100_000L);
        case 5: return new BigInteger(pick(LENGTHS) % 5000, random).subtract(BigInteger.TEN);
        case 6: return new HostileNumber(random.nextInt(7));
        case 7: return object;
        case 8: return new Object();
        case 9: return random.nextBoolean() ? null : of(int[].class);
        default: return parameter(parameters.get(random.nextInt(parameters.size())));
        }
    }

    /** A parameter object with every field set at random, its lengths mostly honest. */
    private Object parameter(Class<?> type) {
        Object parameter = PARAMETERS.get(type).get();
        setFields(parameter,
            field -> field == int.class && random.nextBoolean() ? (Object) random.nextInt(24) : of(field));
        made.add(parameter);
        return parameter;
    }

    private static void setFields(Object object, Function<Class<?>, Object> values) {
        try {
            for (Field field : object.getClass().getFields()) {
                Object value = values.apply(field.getType());
                if (value != KEEP) {
                    field.set(object, value);
                }
            }
        } catch (IllegalAccessException e) {
            throw new AssertionError(e);
        }
    }

    private int pick(int[] from) {
        return from[random.nextInt(from.length)];
    }

    private static int[] constants(String prefix) {
        return Arrays.stream(PKCS11Constants.class.getFields()).filter(field -> field.getName().startsWith(prefix))
            .mapToInt(field -> {
                try {
                    return field.getInt(null);
                } catch (IllegalAccessException e) {
                    throw new AssertionError(e);
                }
            }).toArray();
    }
}
