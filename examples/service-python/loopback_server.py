"""What service.py needs to run on this machine alone: certificates of its own and a server on 127.0.0.1.

A service in earnest has both already: a certificate from a public authority and a web server.
"""
import datetime, http.server, ipaddress, json, os, ssl
from urllib.parse import urlsplit

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.x509.oid import ExtendedKeyUsageOID, NameOID


def handler_for(service):
    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def exchange(self):
            body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
            status, headers, answer, line = service.answer(self.command, self.path, body)
            self.send_response(status)
            for name, value in {**headers, "Content-Length": str(len(answer))}.items():
                self.send_header(name, value)
            self.end_headers()
            self.wfile.write(answer)
            print(json.dumps({**line, "status": status}), flush=True)

        do_GET = do_POST = do_PUT = exchange

        def log_message(self, *_):
            pass
    return Handler


def certificate(folder, words):
    """Makes a root and one certificate for the hosts of the profile; returns the file with its key."""
    hosts = {urlsplit(words.get(entry, "")).hostname for entry in ("kFingerprintURL", "kBackupURL", "kPingbackURL")}
    now, day = datetime.datetime.utcnow(), datetime.timedelta(days=1)
    name = lambda text: x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, text)])
    root_key, key = ec.generate_private_key(ec.SECP256R1()), ec.generate_private_key(ec.SECP256R1())

    def build(subject, public_key, extensions):
        builder = (x509.CertificateBuilder().subject_name(name(subject)).issuer_name(name("example root"))
                   .public_key(public_key).serial_number(x509.random_serial_number())
                   .not_valid_before(now - day).not_valid_after(now + 30 * day))
        for extension, critical in extensions:
            builder = builder.add_extension(extension, critical)
        return builder.sign(root_key, hashes.SHA256())

    names = [x509.DNSName(host) for host in sorted(hosts - {None})]
    addresses = [x509.IPAddress(ipaddress.ip_address(text)) for text in ["127.0.0.1", *words["kHttpDnsAddresses"]]]
    root = build("example root", root_key.public_key(), [(x509.BasicConstraints(True, None), True)])
    leaf = build("example service", key.public_key(), [
        (x509.SubjectAlternativeName(names + addresses), False),
        (x509.ExtendedKeyUsage([ExtendedKeyUsageOID.SERVER_AUTH]), False)])
    pem = serialization.Encoding.PEM
    with open(os.open(f"{folder}/service.pem", os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), "wb") as file:
        file.write(key.private_bytes(pem, serialization.PrivateFormat.PKCS8, serialization.NoEncryption()))
        file.write(leaf.public_bytes(pem))
    with open(f"{folder}/ca.pem", "wb") as file:
        file.write(root.public_bytes(pem))
    return f"{folder}/service.pem"


def serve(service, folder, port):
    """Serves until the process ends. Writes ca.pem and connect-to into the folder."""
    server = http.server.ThreadingHTTPServer(("127.0.0.1", port), handler_for(service))
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate(folder, service.words))
    # The handshake is the exchange's own thread's business: one client must not hold up another.
    server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    with open(f"{folder}/connect-to.new", "w") as file:
        file.write(f"::127.0.0.1:{server.server_port}\n")
    os.rename(f"{folder}/connect-to.new", f"{folder}/connect-to")
    print(json.dumps({"kind": "listening"}), flush=True)
    server.serve_forever()
