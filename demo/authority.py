"""A certificate authority for servers of this computer, which nothing trusts but who is told to."""

import os
import ssl
import subprocess
import time


class Authority:
    """A certificate authority that exists as long as the folder."""

    def __init__(self, folder):
        self.folder = folder
        self.certificate = os.path.join(folder, "ca.pem")
        self._rules = os.path.join(folder, "ca.rules")
        index = os.path.join(folder, "ca.index")
        with open(self._rules, "w", encoding="ascii") as rules, open(index, "w", encoding="ascii"):
            rules.write(f"[ca]\ndefault_ca=own\n[own]\ndatabase={index}\nnew_certs_dir={folder}\ndefault_md=sha256\n"
                        "policy=any\nunique_subject=no\nrand_serial=yes\n[any]\ncommonName=supplied\n")
        self._openssl("req", "-x509", "-subj", "/CN=Throw-away authority", "-days", "2", *self._new_key("ca"),
                      "-out", self.certificate)

    def issue(self, name, host="IP:127.0.0.1", days=(0, 1)):
        """The paths of a server's certificate and key. `days` are those of its beginning and its end from now."""
        certificate, key = os.path.join(self.folder, f"{name}.pem"), os.path.join(self.folder, f"{name}.key")
        extensions = os.path.join(self.folder, f"{name}.ext")
        with open(extensions, "w", encoding="ascii") as file:
            file.write(f"subjectAltName={host}\nextendedKeyUsage=serverAuth\n")
        self._openssl("req", "-subj", f"/CN={name}", *self._new_key(name), "-out", f"{certificate}.csr")
        begin, end = (time.strftime("%Y%m%d%H%M%SZ", time.gmtime(time.time() + day * 86400)) for day in days)
        self._openssl("ca", "-batch", "-notext", "-config", self._rules, "-in", f"{certificate}.csr", "-cert",
                      self.certificate, "-keyfile", os.path.join(self.folder, "ca.key"), "-startdate",
                      begin, "-enddate", end, "-extfile", extensions, "-out", certificate)
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
