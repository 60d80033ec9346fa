/** An application as others write it. */
module app {
    requires com.kelvane.pkcs11;
}
