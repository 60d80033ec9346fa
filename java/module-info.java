/**
 * Drives security tokens through the Cryptoki modules of their vendors.
 *
 * <p>The native library is loaded by this module: {@code --enable-native-access=com.kelvane.pkcs11} allows it that. On
 * the class path, where there are no named modules, it is {@code --enable-native-access=ALL-UNNAMED}.
 */
@SuppressWarnings("module") // a name that ends in digits
module com.kelvane.pkcs11 {
    exports com.kelvane.pkcs11;
    exports com.kelvane.pkcs11.nat;
}
