"""Holds docs/protocol.md to its word: recomputes its worked example, compares its table with a real report,
and lets zorfp use examples/service-python/, which knows that page and a profile only.

usage: service_python_test.py SOURCE BINARIES
"""
import base64, hashlib, hmac, json, pathlib, re, shutil, subprocess, sys, tempfile

SOURCE, BINARIES = map(pathlib.Path, sys.argv[1:3])
sys.path.insert(0, str(SOURCE / "examples/service-python"))
sys.dont_write_bytecode = True
import service
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

PROFILE = SOURCE / "profiles/sandbox.json"
WORDS = json.loads(PROFILE.read_text())["texts"]
PAGE = (SOURCE / "docs/protocol.md").read_text()
work = pathlib.Path(tempfile.mkdtemp())


def expect(what, found, wanted):
    if found != wanted:
        raise SystemExit(f"{what}: found {found!r}, wanted {wanted!r}")


def check_example():
    values = dict(re.findall(r"^    ([a-z ]+): (.*)$", PAGE[PAGE.index("## Worked example"):], re.M))
    version, bundle, collector = (values[name] for name in ("bundle version", "bundle identifier", "collector version"))
    expect("key text", values["key text"],
           service.filled(WORDS["kKeyDerivationFormat"], version, bundle, collector, "1.0.0"))
    digest = 0
    for letter in version:
        digest = (digest * 31 + ord(letter)) % 2**32
    expect("hash", values["hash of the bundle version"], str(digest))
    key = service.block_key(WORDS["kKeyDerivationFormat"], version, bundle, collector)
    expect("block key", values["block key"], key.hex())
    plain = values["identity"].encode()
    encryptor = Cipher(algorithms.AES(key), modes.CBC(WORDS["kSealVector"].encode())).encryptor()
    sealed = encryptor.update(plain + bytes(16 - len(plain) % 16)) + encryptor.finalize()
    expect("sealed identity", values["sealed identity"], base64.b64encode(sealed).decode())
    expect("report", json.loads(values["report"])[WORDS["kParamSealedBlockKey"]], values["sealed identity"])
    expect("environment", values["environment"], base64.b64encode(values["report"].encode()).decode())
    one = service.Service(WORDS, {bundle: version})
    expect("signing key", values["signing key"], one.signing_key.decode())
    message = values["environment"] + values["platform label"] + collector
    expect("signature", values["signature"],
           hmac.new(one.signing_key, message.encode(), hashlib.sha1).hexdigest())
    expect("identity", one.identity(json.loads(values["report"])), json.loads(values["identity"]))


def check_dumps():
    """Each request of the document is answered by the service, and its lengths are right."""
    start, section = PAGE.index("## Worked example"), PAGE[PAGE.index("### What a server sees"):]
    values = dict(re.findall(r"^    (environment|signature): (.*)$", PAGE[start:], re.M))
    one, kinds, messages = service.Service(WORDS, {"org.example.host": "250"}), [], []
    for line in re.findall(r"^    (.+)$", section, re.M):
        if re.match(r"[A-Z]+ /|HTTP/1.1 ", line):
            messages.append({"start": line.split(), "body": ""})
        elif header := re.match(r"([\w-]+): (.*)", line):
            messages[-1][header[1]] = header[2]
        else:
            messages[-1]["body"] = re.sub("<(environment|signature)>", lambda name: values[name[1]], line)
    for message in messages:
        expect(f"length of {message['start']}", message.get("Content-Length", "0"), str(len(message["body"])))
        if message["start"][0] != "HTTP/1.1":
            status, _, _, line = one.answer(*message["start"][:2], message["body"].encode())
            kinds.append((status, line["kind"], line.get("verdict")))
    expect("exchanges", kinds, [(200, "fingerprint", "issued"), (200, "httpdns", None), (200, "httpdns", None),
                                (200, "backup", None), (200, "pingback", None)])


def check_table(report):
    kinds = {"text": str, "integer": int, "array": list, "dictionary": dict}
    rows = re.findall(r"^\| `(kParam\w+)` \| .*? \| (\w+) \|", PAGE, re.M)
    expect("entries of the table", sorted(WORDS[name] for name, _ in rows), sorted(report))
    for name, kind in rows:
        value = report[WORDS[name]]
        if value is not None:
            expect(f"type of {name}", type(value), kinds[kind])


def zorfp(*arguments, connect_to):
    environment = {"PATH": "/usr/bin:/bin", "HOME": str(work / "home"),
                   "SSL_CERT_FILE": str(work / "ca.pem"), "ZORFP_CONNECT_TO": connect_to}
    done = subprocess.run([BINARIES / "zorfp", *arguments], env=environment, stdout=subprocess.PIPE)
    expect(f"status of zorfp {' '.join(arguments)}", done.returncode, 0)
    return json.loads(done.stdout) if "--json" in arguments else None


def check_service(server):
    lines = []

    def line_of(kind, verdict=None):
        """The next line of that kind: reading it waits for the exchange."""
        for text in server.stdout:
            lines.append(json.loads(text))
            if lines[-1]["kind"] == kind and verdict in (None, lines[-1].get("verdict")):
                return lines[-1]
        raise SystemExit(f"the service ended without {kind}: {lines}")

    expect("first line", json.loads(server.stdout.readline()), {"kind": "listening"})
    connect_to = (work / "connect-to").read_text().strip()
    check_table(zorfp("report", "--json", connect_to=connect_to))
    first = zorfp("fingerprint", "--json", connect_to=connect_to)
    issued = line_of("fingerprint", "issued")
    expect("fingerprint", first["fingerprint"], issued["fingerprint"])
    expect("entries", issued["entries"], 23)
    if issued["identity"] is None:
        raise SystemExit("the identity does not open")
    zorfp("cache", "clear", connect_to=connect_to)
    # Nothing listens where the name leads: HTTPDNS gives the address that answers.
    dead = "fingerprint.localhost:8443:127.0.0.1:1," + connect_to
    again = zorfp("fingerprint", "--json", connect_to=dead)
    expect("fingerprint by address", again["fingerprint"], issued["fingerprint"])
    line_of("httpdns")
    line_of("fingerprint", "issued")
    zorfp("pingbacks", "--json", connect_to=connect_to)


check_example()
check_dumps()
(work / "home").mkdir()
server = subprocess.Popen([sys.executable, "-B", SOURCE / "examples/service-python/service.py", PROFILE, work,
                           "--bundle-version", "com.tidewater.zorfp=110"], stdout=subprocess.PIPE, text=True)
try:
    check_service(server)
finally:
    server.terminate()
    server.wait()
    shutil.rmtree(work)
