package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_AES_CTR_PARAMS;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.security.AlgorithmParameters;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.ProviderException;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.spec.IvParameterSpec;

/**
 * AES in the modes ECB, CBC and CTR.
 *
 * <p>An update delivers all whole blocks at once, in a session that is held until doFinal; a doFinal without an update
 * is one call. If the session is lost in between, the cipher fails with a {@code ProviderException} and has to be
 * initialised again: what it has delivered is not produced a second time.
 *
 * <p>Incomplete blocks stay here, and padding is made and checked here: opencryptoki decrypts wrong padding without an
 * error.
 */
final class TokenBlockCipher extends TokenCipher {
    private static final int BLOCK = 16;
    private static final int COUNTER_BITS = 128;

    private final boolean padded;

    /** The operation in parts, and the number of bytes that it has taken and not yet delivered; null for none. */
    private HeldSession operation;
    private int owed;

    TokenBlockCipher(Token token, int mechanism, boolean padded) {
        super(token, mechanism, IvParameterSpec.class, BLOCK);
        this.padded = padded;
    }

    @Override
    TokenKey start(Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        if (mechanism == CKM_AES_ECB) {
            if (parameters != null) {
                throw new InvalidAlgorithmParameterException("the mode ECB has no parameters");
            }
        } else if (parameters != null) {
            iv = ((IvParameterSpec) parameters).getIV();
            if (iv.length != BLOCK) {
                throw new InvalidAlgorithmParameterException("the IV has 16 bytes, not " + iv.length);
            }
        } else if (encrypts()) {
            iv = random(random, BLOCK);
        } else {
            throw new InvalidAlgorithmParameterException("the IV is missing");
        }
        return Keys.secret(token, newKey, KeyKind.AES);
    }

    @Override
    int wrapMechanism() {
        return padded && mechanism == CKM_AES_CBC ? CKM_AES_CBC_PAD : mechanism;
    }

    @Override
    Object parameter(int length) {
        return mechanism == CKM_AES_CTR ? new CK_AES_CTR_PARAMS(COUNTER_BITS, iv) : iv;
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        return iv == null ? null : encoded("AES", new IvParameterSpec(iv));
    }

    /** Returns how much of the data can go to the token before the end is known. */
    private int whole(int more) {
        int all = data.length() + more;
        boolean keepsLast = padded && !encrypts() && all > 0;
        return (keepsLast ? all - 1 : all) / BLOCK * BLOCK;
    }

    @Override
    int updateSize(int more) {
        int whole = whole(more);
        return whole == 0 ? 0 : owed + whole;
    }

    @Override
    byte[] update(byte[] in, int offset, int length) {
        int whole = whole(length);
        if (whole == 0) {
            return super.update(in, offset, length);
        }
        int used = whole - data.length();
        byte[] delivered = part(data.with(in, offset, used));
        data.clear();
        data.add(in, offset + used, length - used);
        return delivered;
    }

    /** Sends blocks to the token, as a part of an operation that is started with them or goes on. */
    private byte[] part(byte[] blocks) {
        byte[] out = new byte[owed + blocks.length];
        int[] written = new int[1];
        if (operation == null) {
            operation = startParts((session, object) -> {
                start(session, parameter(0), object);
                written[0] = part(session, blocks, out);
                return null;
            });
        } else {
            try {
                written[0] = operation.part(session -> part(session, blocks, out));
            } catch (PKCS11Exception e) {
                throw interrupted(e);
            }
        }
        Arrays.fill(blocks, (byte) 0);
        owed = out.length - written[0];
        if (owed < 0) {
            throw new ProviderException("the token delivers more than it was given");
        }
        return owed == 0 ? out : Arrays.copyOf(out, written[0]);
    }

    private int part(NativePKCS11Session session, byte[] blocks, byte[] out) {
        return encrypts() ? session.encryptUpdate(blocks, 0, blocks.length, out, 0)
            : session.decryptUpdate(blocks, 0, blocks.length, out, 0);
    }

    private static ProviderException interrupted(PKCS11Exception e) {
        return new ProviderException("The operation was interrupted, initialise the cipher again: "
            + e.getMessage(), e);
    }

    @Override
    int finalSize(int more) {
        int all = data.length() + more;
        return owed + (padded && encrypts() ? all / BLOCK * BLOCK + BLOCK : all);
    }

    @Override
    boolean isSizeExact() {
        return !padded || encrypts();
    }

    @Override
    boolean isWhole() {
        return operation == null && data.length() == 0 && !padded;
    }

    @Override
    void prepare(int length) throws IllegalBlockSizeException {
        if (mechanism != CKM_AES_CTR && length % BLOCK != 0) {
            throw new IllegalBlockSizeException("the length of the data is not a multiple of 16");
        }
    }

    @Override
    byte[] finish(byte[] in, int offset, int length) throws IllegalBlockSizeException, BadPaddingException {
        byte[] last = data.with(in, offset, length);
        if (padded && encrypts()) {
            last = pad(last);
        } else {
            prepare(last.length);
        }
        byte[] out = operation == null ? last.length == 0 ? last : crypt(last) : end(last);
        return padded && !encrypts() ? unpad(out) : out;
    }

    /** Ends an operation in parts. */
    private byte[] end(byte[] last) {
        byte[] part = last.length == 0 ? last : part(last);
        byte[] output = Arrays.copyOf(part, part.length + owed + BLOCK); // a capacity of 0 would request the length
        int written;
        try {
            written = operation.last(session ->
                encrypts() ? session.encryptFinal(output, part.length) : session.decryptFinal(output, part.length));
        } catch (PKCS11Exception e) {
            throw interrupted(e);
        }
        if (written != owed) {
            throw new ProviderException("the token delivers " + written + " bytes in the end, not " + owed);
        }
        return Arrays.copyOf(output, part.length + written);
    }

    private static byte[] pad(byte[] data) {
        int padding = BLOCK - data.length % BLOCK;
        byte[] result = Arrays.copyOf(data, data.length + padding);
        Arrays.fill(result, data.length, result.length, (byte) padding);
        return result;
    }

    private static byte[] unpad(byte[] data) throws BadPaddingException {
        if (data.length == 0) {
            return data;
        }
        int padding = data[data.length - 1];
        boolean right = padding > 0 && padding <= BLOCK;
        for (int i = 1; right && i <= padding; i++) {
            right = data[data.length - i] == padding;
        }
        byte[] result = right ? Arrays.copyOf(data, data.length - padding) : null;
        Arrays.fill(data, (byte) 0);
        if (!right) {
            throw new BadPaddingException("the padding is wrong");
        }
        return result;
    }

    @Override
    void reset() {
        super.reset();
        owed = 0;
        if (operation != null) {
            operation.abandon();
            operation = null;
        }
    }
}
