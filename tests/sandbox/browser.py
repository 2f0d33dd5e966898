"""Drives a headless Chromium over its debugging pipe, and the sandbox with its clients."""
import base64
import hashlib
import hmac
import json
import os
import select
import shutil
import signal
import ssl
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../profiles/sandbox.json"),
          encoding="utf-8") as profile:
    WORDS = json.load(profile)["texts"]

DEADLINE = 60.0  # Seconds that anything may take.


def program():
    """The browser's path, or None where it is not installed."""
    return shutil.which("chromium") or shutil.which("chromium-browser")


class Browser:
    """One browser with one page. A context manager: the browser ends with it."""

    def __init__(self):
        self._folder = tempfile.mkdtemp(prefix="sandbox-browser-")
        to_browser, self._output = os.pipe()
        self._input, from_browser = os.pipe()

        def take_pipes():  # The browser reads descriptor 3 and writes 4.
            high = [os.dup(to_browser), os.dup(from_browser)]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)
            os.set_inheritable(3, True)
            os.set_inheritable(4, True)

        arguments = [program(), "--headless=new", "--remote-debugging-pipe", "--disable-gpu",
                     "--disable-dev-shm-usage", "--no-first-run", "--no-proxy-server",
                     "--disable-background-networking", "--hide-scrollbars",
                     "--user-data-dir=" + self._folder]
        if os.geteuid() == 0:  # Its own sandbox does not work for root.
            arguments.append("--no-sandbox")
        self._process = subprocess.Popen(
            arguments, close_fds=False, preexec_fn=take_pipes, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(to_browser)
        os.close(from_browser)
        self._unread = b""
        self._last = 0
        self._session = None
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target,
                                  flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.call(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self._output)
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            os.killpg(self._process.pid, signal.SIGKILL)
            self._process.wait()
        os.close(self._input)
        shutil.rmtree(self._folder, ignore_errors=True)

    def _read(self, until):
        while b"\0" not in self._unread:
            ready, _, _ = select.select([self._input], [], [], max(0, until - time.monotonic()))
            part = os.read(self._input, 1 << 20) if ready else b""
            if not part:
                raise RuntimeError("the browser ended or does not answer")
            self._unread += part
        message, self._unread = self._unread.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **parameters):
        """Calls a method of the debugging interface and returns its result."""
        self._last += 1
        message = {"id": self._last, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._output, json.dumps(message).encode() + b"\0")
        until = time.monotonic() + DEADLINE
        while True:
            answer = self._read(until)
            if answer.get("id") != self._last:
                self.events.append(answer)
            elif "error" in answer:
                raise RuntimeError(f"{method}: {answer['error']['message']}")
            else:
                return answer["result"]

    def run(self, expression):
        """The value of an expression in the page; a promise is awaited."""
        result = self.call("Runtime.evaluate", expression=expression, awaitPromise=True,
                           returnByValue=True)
        if "exceptionDetails" in result:
            details = result["exceptionDetails"]
            raise RuntimeError(details.get("exception", {}).get("description", details["text"]))
        return result["result"].get("value")

    def until(self, expression):
        """Waits until the expression is true in the page, looking after each change of it."""
        done = self.run("""new Promise((resolve) => {
            const holds = () => { try { return Boolean(%s); } catch { return false; } };
            const look = () => { if (holds()) { end(true); } };
            const observer = new MutationObserver(look);
            const timer = setTimeout(() => end(false), %d);
            const again = setInterval(look, 50);  // A value or the focus may change alone.
            const end = (value) => {
              observer.disconnect(); clearTimeout(timer); clearInterval(again); resolve(value);
            };
            observer.observe(document, {subtree: true, childList: true, attributes: true});
            look();
          })""" % (expression, int(DEADLINE * 500)))
        if not done:
            raise AssertionError(f"never true: {expression}\n" + self.run(
                "document.activeElement.outerHTML.slice(0, 300) + '\\n' +"
                "document.body.innerText.slice(0, 1500)"))

    def open(self, url):
        self.call("Page.navigate", url=url)
        self.until("document.readyState === 'complete' && document.getElementById('live')")

    def key(self, name, text=None):
        """Presses and releases a key: "ArrowDown", "Enter", "/"."""
        codes = {"Enter": 13, "Escape": 27, "Tab": 9, "ArrowDown": 40, "ArrowUp": 38}
        text = {"Enter": "\r"}.get(name, name if len(name) == 1 else None)
        pressed = {"key": name, "windowsVirtualKeyCode": codes.get(name, ord(name[0]))}
        self.call("Input.dispatchKeyEvent", type="keyDown" if text else "rawKeyDown",
                  **pressed, **({"text": text} if text else {}))
        self.call("Input.dispatchKeyEvent", type="keyUp", **pressed)

    def write(self, text):
        self.call("Input.insertText", text=text)

    def look(self, width, height, dark=False):
        """Sets the window's size and the colors that the page is asked for."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=False)
        self.call("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce"}])

    def picture(self, path):
        """Writes what the window shows as a PNG."""
        # Two frames, so that what was just set is drawn.
        self.run("new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))")
        data = self.call("Page.captureScreenshot", format="png")["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))


class Sandbox:
    """zorfp-sandbox on free ports, with zorfp as its client. A context manager."""

    def __init__(self, programs, *options):
        self.programs = programs
        self.folder = tempfile.mkdtemp(prefix="sandbox-page-")
        state = os.path.join(self.folder, "state")
        ready = os.path.join(self.folder, "ready")
        self._log = open(os.path.join(self.folder, "log"), "wb")
        self._process = subprocess.Popen(
            [os.path.join(programs, "zorfp-sandbox"), "--port", "0", "--state", state,
             "--ready-file", ready, "--bundle-version", "com.tidewater.zorfp=110", *options],
            stdin=subprocess.DEVNULL, stdout=self._log, stderr=self._log)
        until = time.monotonic() + DEADLINE
        while not os.path.exists(ready):
            if self._process.poll() is not None or time.monotonic() > until:
                self.__exit__()
                raise RuntimeError("zorfp-sandbox did not start")
            time.sleep(0.02)
        with open(ready, encoding="utf-8") as file:
            self.ready = json.load(file)
        self.page = self.ready["page"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._process.terminate()
        self._process.wait()
        self._log.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def environment(self, home="home"):
        home = os.path.join(self.folder, home)
        os.makedirs(home, exist_ok=True)
        return {**os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "XDG_DATA_HOME": home,
                "SSL_CERT_FILE": self.ready["ca_file"],
                "ZORFP_CONNECT_TO": ",".join(self.ready["connect_to"])}

    def client(self, *arguments, home="home"):
        """Runs zorfp with a home of its own; its exit status."""
        return subprocess.run([os.path.join(self.programs, "zorfp"), *arguments],
                              env=self.environment(home), stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              check=False, timeout=DEADLINE).returncode


def signed_body(report):
    """A fingerprint request with any report, signed as a client of the profile does."""
    environment = base64.b64encode(json.dumps(report).encode()).decode()
    key = subprocess.run(
        ["openssl", "enc", "-d", "-aes-128-cbc", "-nopad", "-K",
         WORDS["kTextCipherKey"].encode().hex(), "-iv", WORDS["kTextCipherVector"].encode().hex()],
        input=base64.b64decode(WORDS["kSigningKey"]), stdout=subprocess.PIPE,
        check=True).stdout.rstrip(b"\0")
    signature = hmac.new(key, (environment + "linux" + "1.1.0").encode(), hashlib.sha1).hexdigest()
    return json.dumps({
        WORDS["kBodyEnvironmentKey"]: environment, WORDS["kBodyPlatformKey"]: "linux",
        WORDS["kBodySignatureKey"]: signature, WORDS["kBodyVersionKey"]: "1.1.0",
        WORDS["kBodyReservedKey"]: ""}).encode()


def post(sandbox, path, body, headers=None):
    """Sends bytes to the service; what it answers is of no interest here."""
    host_and_port = sandbox.ready["port"]
    trust = ssl.create_default_context(cafile=sandbox.ready["ca_file"])
    trust.check_hostname = False
    request = urllib.request.Request(f"https://127.0.0.1:{host_and_port}{path}", body,
                                     {"Host": "fingerprint.localhost:8443", **(headers or {})})
    try:
        urllib.request.urlopen(request, context=trust).read()
    except urllib.error.HTTPError:
        pass
