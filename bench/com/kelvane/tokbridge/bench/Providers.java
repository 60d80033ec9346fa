package com.kelvane.tokbridge.bench;

import com.kelvane.pkcs11.provider.TokbridgeProvider;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.net.InetAddress;
import java.net.Socket;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.KeyStore;
import java.security.Principal;
import java.security.PrivateKey;
import java.security.Provider;
import java.security.Security;
import java.security.Signature;
import java.security.cert.X509Certificate;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import java.util.function.Function;
import javax.crypto.Cipher;
import javax.crypto.SecretKey;
import javax.crypto.SecretKeyFactory;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;
import javax.net.ssl.KeyManager;
import javax.net.ssl.SSLContext;
import javax.net.ssl.SSLServerSocket;
import javax.net.ssl.SSLSocket;
import javax.net.ssl.TrustManagerFactory;
import javax.net.ssl.X509ExtendedKeyManager;

/** Compares the JCA provider with the JDK's own PKCS #11 provider: one program, two providers, one token, one run. */
final class Providers {
    private final Stopwatch stopwatch;
    private final int cores = Runtime.getRuntime().availableProcessors();

    /** This project's provider, then the JDK's, and the key stores of both. */
    private final Provider[] providers;
    private final KeyStore[] stores = new KeyStore[2];

    /** Makes a token, and keys with certificates on it. */
    Providers(Stopwatch stopwatch, String module) throws Exception {
        this.stopwatch = stopwatch;
        BridgeSide bridge = new BridgeSide(module);
        String label = bridge.session.getSlot().getTokenInfo().getLabel();
        String uri = "pkcs11:token=" + label.replace(" ", "%20") + "?module-path=" + module;
        for (String[] key : new String[][] {{"rsa", "RSA", "-keysize", "2048"},
            {"ec", "EC", "-groupname", "secp256r1"}}) {
            int status = new ProcessBuilder(Path.of(System.getProperty("java.home"), "bin", "keytool").toString(),
                "-J--class-path=" + System.getProperty("java.class.path"), "-J--enable-native-access=ALL-UNNAMED",
                "-J-Dtokbridge.library=" + System.getProperty("tokbridge.library"), "-genkeypair", "-alias", key[0],
                "-keyalg", key[1], key[2], key[3], "-dname", "CN=localhost", "-keystore", "NONE",
                "-storetype", "PKCS11", "-storepass", BridgeSide.PIN, "-addprovider", "Tokbridge",
                "-providerArg", uri).inheritIO().start().waitFor();
            if (status != 0) {
                throw new IllegalStateException("keytool has failed");
            }
        }
        providers = new Provider[] {new TokbridgeProvider().configure(uri), Security.getProvider("SunPKCS11").configure(
            "--name=Bench\nlibrary=" + module + "\nslot=" + bridge.session.getSlot().getSlotID())};
        for (int i = 0; i < 2; i++) {
            Security.addProvider(providers[i]);
            stores[i] = KeyStore.getInstance("PKCS11", providers[i]);
            stores[i].load(null, BridgeSide.PIN.toCharArray());
        }
    }

    /** An operation with one of the providers. */
    private interface Side {
        Operation with(int provider) throws Exception;
    }

    void run() throws Exception {
        System.out.println("Java " + System.getProperty("java.version") + ", " + cores + " cores. Microseconds per "
            + "operation on one thread: medians of " + stopwatch.rounds + " rounds, each a batch of both in turn.\n"
            + "Ratio: ours / the JDK's, the median of the rounds; below 1 ours is faster. The last column is the ratio "
            + "with a thread for each core.\n");
        System.out.printf("%-34s %12s %12s %8s %8s%n", "Operation", "ours", "JDK's", "ratio", "all cores");
        row("SHA256withRSA, 2048 bits", provider -> signature(provider, "rsa", "SHA256withRSA"));
        row("SHA256withECDSA, P-256", provider -> signature(provider, "ec", "SHA256withECDSA"));
        for (int size : new int[] {16, 4096, 65_536, 1 << 20}) {
            byte[] data = new byte[size];
            row("AES-256 GCM, " + size + " B", provider -> cipher(provider, "AES/GCM/NoPadding", data,
                iv -> new GCMParameterSpec(128, Arrays.copyOfRange(iv, 4, 16))));
            row("AES-256 CBC, " + size + " B", provider -> cipher(provider, "AES/CBC/NoPadding", data,
                IvParameterSpec::new));
        }
        for (int size : new int[] {4096, 16_384, 65_536, 262_144, 1 << 20}) {
            row("AES-256 GCM, buffers, " + size + " B", provider -> buffers(provider, "AES/GCM/NoPadding", size,
                iv -> new GCMParameterSpec(128, Arrays.copyOfRange(iv, 4, 16))));
            row("AES-256 CBC, buffers, " + size + " B", provider -> buffers(provider, "AES/CBC/NoPadding", size,
                IvParameterSpec::new));
        }
        for (String key : new String[] {"rsa", "ec"}) {
            row("TLS 1.3 handshake, " + key, provider -> handshake(provider, key));
        }
    }

    private void row(String name, Side side) throws Exception {
        double[][] one = stopwatch.measure(side.with(0), side.with(1));
        Operation[][] all = new Operation[2][cores];
        for (int i = 0; i < 2; i++) {
            for (int core = 0; core < cores; core++) {
                all[i][core] = side.with(i);
            }
        }
        double[][] many = stopwatch.measure(Together.of(all[0]), Together.of(all[1]));
        System.out.printf("%-34s %,12.1f %,12.1f %8.2f %8.2f%n", name, Stopwatch.median(one[0]) / 1e3,
            Stopwatch.median(one[1]) / 1e3, ratio(one), ratio(many));
    }

    private double ratio(double[][] times) {
        double[] ratios = new double[stopwatch.rounds];
        Arrays.setAll(ratios, round -> times[0][round] / times[1][round]);
        return Stopwatch.median(ratios);
    }

    private Operation signature(int provider, String alias, String algorithm) throws Exception {
        Signature signature = Signature.getInstance(algorithm, providers[provider]);
        PrivateKey key = (PrivateKey) stores[provider].getKey(alias, null);
        byte[] data = new byte[64];
        return () -> {
            signature.initSign(key);
            signature.update(data);
            return signature.sign();
        };
    }

    private Operation cipher(int provider, String algorithm, byte[] data,
        Function<byte[], AlgorithmParameterSpec> vector)
        throws Exception {
        byte[] out = new byte[data.length + 16];
        return encryption(provider, algorithm, vector, cipher -> cipher.doFinal(data, 0, data.length, out, 0));
    }

    private Operation buffers(int provider, String algorithm, int size, Function<byte[], AlgorithmParameterSpec> vector)
        throws Exception {
        ByteBuffer in = ByteBuffer.allocateDirect(size);
        ByteBuffer out = ByteBuffer.allocateDirect(size + 16);
        return encryption(provider, algorithm, vector, cipher -> cipher.doFinal(in.clear(), out.clear()));
    }

    /** The data of an encryption. */
    private interface Data {
        int encrypt(Cipher cipher) throws GeneralSecurityException;
    }

    private Operation encryption(int provider, String algorithm, Function<byte[], AlgorithmParameterSpec> vector,
        Data data) throws Exception {
        Cipher cipher = Cipher.getInstance(algorithm, providers[provider]);
        SecretKey key = SecretKeyFactory.getInstance("AES", providers[provider])
            .translateKey(new SecretKeySpec(new byte[32], "AES"));
        byte[] iv = new byte[16]; // another one each time, as GCM insists
        return () -> {
            Bare.countUp(iv);
            cipher.init(Cipher.ENCRYPT_MODE, key, vector.apply(iv));
            return data.encrypt(cipher);
        };
    }

    /** A handshake of a client in software with a server whose key is on the token, without resumption. */
    private Operation handshake(int provider, String alias) throws Exception {
        KeyStore trusted = KeyStore.getInstance("PKCS12");
        trusted.load(null, null);
        trusted.setCertificateEntry("server", stores[provider].getCertificate(alias));
        TrustManagerFactory trust = TrustManagerFactory.getInstance("PKIX");
        trust.init(trusted);
        SSLContext server = SSLContext.getInstance("TLSv1.3");
        server.init(new KeyManager[] {new OneKey(stores[provider], alias)}, null, null);
        SSLServerSocket listening = (SSLServerSocket) server.getServerSocketFactory().createServerSocket(0, 50,
            InetAddress.getLoopbackAddress());
        Thread accepting = new Thread(() -> {
            while (true) {
                try (SSLSocket accepted = (SSLSocket) listening.accept()) {
                    accepted.getOutputStream().write(accepted.getInputStream().read());
                } catch (IOException e) {
                    throw new UncheckedIOException(e);
                }
            }
        });
        accepting.setDaemon(true);
        accepting.start();
        return () -> {
            SSLContext client = SSLContext.getInstance("TLSv1.3"); // a new one, so that no session is resumed
            client.init(null, trust.getTrustManagers(), null);
            try (SSLSocket socket = (SSLSocket) client.getSocketFactory().createSocket(
                listening.getInetAddress(), listening.getLocalPort())) {
                socket.getOutputStream().write(1);
                return socket.getInputStream().read();
            }
        };
    }

    /** A key manager that has one key. */
    private static final class OneKey extends X509ExtendedKeyManager {
        private final String alias;
        private final PrivateKey key;
        private final X509Certificate[] chain;

        OneKey(KeyStore store, String alias) throws Exception {
            this.alias = alias;
            key = (PrivateKey) store.getKey(alias, null);
            chain = new X509Certificate[] {(X509Certificate) store.getCertificate(alias)};
        }

        @Override
        public String chooseServerAlias(String keyType, Principal[] issuers, Socket socket) {
            return keyType.equals(key.getAlgorithm()) ? alias : null;
        }

        @Override
        public String chooseClientAlias(String[] keyTypes, Principal[] issuers, Socket socket) {
            return null;
        }

        @Override
        public String[] getServerAliases(String keyType, Principal[] issuers) {
            return new String[] {alias};
        }

        @Override
        public String[] getClientAliases(String keyType, Principal[] issuers) {
            return new String[0];
        }

        @Override
        public PrivateKey getPrivateKey(String name) {
            return key;
        }

        @Override
        public X509Certificate[] getCertificateChain(String name) {
            return chain;
        }
    }
}
