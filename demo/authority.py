"""A certificate authority for servers of this computer, which nothing trusts but who is told to."""

import os
import ssl
import subprocess


class Authority:
    """A certificate authority that exists as long as the folder."""

    def __init__(self, folder):
        self.folder = folder
        self.certificate = os.path.join(folder, "ca.pem")
        self._openssl("req", "-x509", "-subj", "/CN=Throw-away authority", "-days", "2", *self._new_key("ca"),
                      "-out", self.certificate)

    def issue(self, name, host="IP:127.0.0.1"):
        """The paths of a server's certificate and key."""
        certificate, key = os.path.join(self.folder, f"{name}.pem"), os.path.join(self.folder, f"{name}.key")
        extensions = os.path.join(self.folder, f"{name}.ext")
        with open(extensions, "w", encoding="ascii") as file:
            file.write(f"subjectAltName={host}\nextendedKeyUsage=serverAuth\n")
        self._openssl("req", "-subj", f"/CN={name}", *self._new_key(name), "-out", f"{certificate}.csr")
        self._openssl("x509", "-req", "-in", f"{certificate}.csr", "-CA", self.certificate, "-CAkey",
                      os.path.join(self.folder, "ca.key"), "-CAcreateserial", "-days", "1", "-extfile", extensions,
                      "-out", certificate)
        return certificate, key

    def trust(self):
        context = ssl.create_default_context(cafile=self.certificate)
        context.set_alpn_protocols(["h2", "http/1.1"])
        return context

    def _new_key(self, name):
        return ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                os.path.join(self.folder, f"{name}.key")]

    def _openssl(self, *arguments):
        subprocess.run(["openssl", *arguments], check=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
