package com.kelvane.tokbridge.bench;

import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.security.Key;
import java.security.KeyPairGenerator;
import java.security.MessageDigest;
import java.security.Provider;
import java.security.SecureRandom;
import java.security.Security;
import java.security.Signature;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.Cipher;
import javax.crypto.KeyGenerator;
import javax.crypto.Mac;
import javax.crypto.SecretKeyFactory;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;

/** The operations as the JDK's own PKCS #11 provider does them, through its public interface alone. */
final class JdkSide {
    private final Provider provider;

    /** Configures the provider for a slot of a module that is initialised, with the user logged in. */
    JdkSide(String module, int slot) {
        provider = Security.getProvider("SunPKCS11").configure("--name=Bench\nlibrary=" + module + "\nslot=" + slot);
    }

    Key aesKey(byte[] key) throws Exception {
        return SecretKeyFactory.getInstance("AES", provider).translateKey(new SecretKeySpec(key, "AES"));
    }

    Operation encrypt(Key object, byte[] message) throws Exception {
        Cipher cipher = Cipher.getInstance("AES/CBC/NoPadding", provider);
        IvParameterSpec parameter = new IvParameterSpec(new byte[16]);
        byte[] out = new byte[message.length];
        return () -> {
            cipher.init(Cipher.ENCRYPT_MODE, object, parameter);
            cipher.doFinal(message, 0, message.length, out, 0);
            return out;
        };
    }

    /** With another initialisation vector each time, as the provider insists, counted up from zero. */
    Operation encryptGcm(Key object, byte[] message) throws Exception {
        Cipher cipher = Cipher.getInstance("AES/GCM/NoPadding", provider);
        byte[] iv = new byte[12];
        byte[] out = new byte[message.length + 16];
        return () -> {
            Bare.countUp(iv);
            cipher.init(Cipher.ENCRYPT_MODE, object, new GCMParameterSpec(128, iv));
            cipher.doFinal(message, 0, message.length, out, 0);
            return out;
        };
    }

    Operation digest(byte[] message) throws Exception {
        MessageDigest digest = MessageDigest.getInstance("SHA-256", provider);
        return () -> digest.digest(message);
    }

    Operation encryptBuffers(Key object, byte[] message) throws Exception {
        Cipher cipher = Cipher.getInstance("AES/CBC/NoPadding", provider);
        IvParameterSpec parameter = new IvParameterSpec(new byte[16]);
        return new Buffers(message, message.length, (in, out) -> {
            cipher.init(Cipher.ENCRYPT_MODE, object, parameter);
            cipher.doFinal(in, out);
        });
    }

    Operation encryptGcmBuffers(Key object, byte[] message) throws Exception {
        Cipher cipher = Cipher.getInstance("AES/GCM/NoPadding", provider);
        byte[] iv = new byte[12];
        return new Buffers(message, message.length + 16, (in, out) -> {
            Bare.countUp(iv);
            cipher.init(Cipher.ENCRYPT_MODE, object, new GCMParameterSpec(128, iv));
            cipher.doFinal(in, out);
        });
    }

    Operation digestBuffers(byte[] message) throws Exception {
        MessageDigest digest = MessageDigest.getInstance("SHA-256", provider);
        return new Buffers(message, 32, (in, out) -> {
            digest.update(in);
            out.put(digest.digest());
        });
    }

    Operation mac(byte[] message) throws Exception {
        Mac mac = Mac.getInstance("HmacSHA256", provider);
        KeyGenerator generator = KeyGenerator.getInstance("HmacSHA256", provider);
        generator.init(256);
        mac.init(generator.generateKey());
        return () -> mac.doFinal(message);
    }

    Operation sign(String algorithm, String keys, AlgorithmParameterSpec size, byte[] message) throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance(keys, provider);
        generator.initialize(size);
        Signature signature = Signature.getInstance(algorithm, provider);
        signature.initSign(generator.generateKeyPair().getPrivate());
        return () -> {
            signature.update(message);
            return signature.sign();
        };
    }

    Operation random() throws Exception {
        SecureRandom random = SecureRandom.getInstance("PKCS11", provider);
        byte[] out = new byte[32];
        return () -> {
            random.nextBytes(out);
            return out;
        };
    }
}
