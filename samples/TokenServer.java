import com.kelvane.pkcs11.provider.TokbridgeProvider;
import com.kelvane.pkcs11.provider.TokenKeySpec;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.KeyStore;
import java.security.PrivateKey;
import java.security.Provider;
import java.security.Security;
import java.security.Signature;
import java.security.spec.ECGenParameterSpec;
import javax.net.ssl.KeyManagerFactory;
import javax.net.ssl.SSLContext;
import javax.net.ssl.SSLServerSocket;
import javax.net.ssl.SSLSocket;

/** Signs with a new key on a token, and serves one TLS connection with a key that has a certificate there. */
public final class TokenServer {
    public static void main(String[] arguments) throws Exception {
        String uri = arguments[0]; // pkcs11:token=mine?module-path=/usr/lib/softhsm/libsofthsm2.so
        String alias = arguments[1];
        char[] pin = System.getenv("TOKEN_PIN").toCharArray();
        Provider provider = new TokbridgeProvider().configure(uri);
        Security.addProvider(provider);
        KeyStore keys = KeyStore.getInstance("PKCS11", provider);
        keys.load(null, pin); // logs in

        PrivateKey key = (PrivateKey) keys.getKey(alias, null);
        Signature signature = Signature.getInstance("SHA256withECDSA"); // the class of the key selects the provider
        signature.initSign(key);
        signature.update("a text".getBytes());
        System.out.println("signed, " + (verifies(keys, alias, signature.sign()) ? "verified" : "wrong"));

        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC", provider);
        generator.initialize(new TokenKeySpec(new ECGenParameterSpec("secp384r1")).onToken("another key"));
        KeyPair pair = generator.generateKeyPair();
        System.out.println("generated " + pair.getPrivate());

        KeyManagerFactory managers = KeyManagerFactory.getInstance("PKIX");
        managers.init(keys, null);
        SSLContext context = SSLContext.getInstance("TLS");
        context.init(managers.getKeyManagers(), null, null);
        try (SSLServerSocket server = (SSLServerSocket) context.getServerSocketFactory().createServerSocket(0)) {
            System.out.println(server.getLocalPort());
            try (SSLSocket client = (SSLSocket) server.accept()) {
                client.getOutputStream().write("hello\n".getBytes());
            }
        }
    }

    private static boolean verifies(KeyStore keys, String alias, byte[] made) throws Exception {
        Signature verifier = Signature.getInstance("SHA256withECDSA");
        verifier.initVerify(keys.getCertificate(alias)); // the JDK verifies
        verifier.update("a text".getBytes());
        return verifier.verify(made);
    }
}
