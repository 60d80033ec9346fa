import java.security.*;
import org.apache.catalina.connector.*;
import org.apache.catalina.startup.*;
import org.apache.tomcat.util.net.*;

/** A web server whose key is on a token: WebServer DIRECTORY URI. Prints its port, and serves until its input ends. */
final class WebServer {
    public static void main(String[] arguments) throws Exception {
        Provider other = Security.getProvider("Tokbridge").configure(arguments[1]);
        KeyStore keys = KeyStore.getInstance("PKCS11"); // of the provider that the file java.security configures
        keys.load(null, null);
        if (!keys.getProvider().getName().equals(other.getName()) || keys.getProvider() == other) {
            throw new IllegalStateException(keys.getProvider() + ", " + other);
        }
        SSLHostConfig host = new SSLHostConfig();
        SSLHostConfigCertificate certificate = new SSLHostConfigCertificate(host,
            SSLHostConfigCertificate.Type.UNDEFINED);
        certificate.setCertificateKeystore(keys);
        certificate.setCertificateKeyAlias("web");
        host.addCertificate(certificate);
        Connector connector = new Connector();
        connector.setPort(0);
        connector.setScheme("https");
        connector.setSecure(true);
        connector.setProperty("SSLEnabled", "true");
        connector.addSslHostConfig(host);
        Tomcat tomcat = new Tomcat();
        tomcat.setBaseDir(arguments[0]);
        tomcat.setConnector(connector);
        tomcat.addContext("", null);
        tomcat.start();
        System.out.println(connector.getLocalPort());
        while (System.in.read() >= 0) {
            Thread.onSpinWait();
        }
        tomcat.stop();
    }
}
