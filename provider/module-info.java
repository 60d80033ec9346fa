/**
 * A provider of the Java Cryptography Architecture whose keys stay on PKCS #11 tokens.
 *
 * @provides java.security.Provider
 */
@SuppressWarnings("module") // a name that contains digits
module com.kelvane.pkcs11.provider {
    requires transitive com.kelvane.pkcs11;

    exports com.kelvane.pkcs11.provider;

    provides java.security.Provider with com.kelvane.pkcs11.provider.TokbridgeProvider;
}
