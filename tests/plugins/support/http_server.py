"""A recording HTTP and HTTPS server for the tests of orv.action.Request.

Listens on 127.0.0.1 on free ports: "http" (plain), "https" (a certificate
signed by the test CA), "self_signed" (a certificate nothing trusts) and
"mutual" (the CA's certificate, and a client certificate signed by the CA
required). Prints the ports as one JSON line, then one JSON line per request
received, before answering it:
  {"listener", "method", "target", "headers": [[name, value], ...], "body",
   "client": subject common name of the client certificate or "",
   "peer": the client's port, the same for requests on one connection}
An optional second argument is the port of "http" (for a test that starts
the server where a client has been failing to connect). The first path
segment chooses the answer:
  /status/NNN[?long][?after=S]  status NNN; "long" makes the body 300
                      bytes; "after=S" adds the header "Retry-After: S"
  /delay/MS           200 after MS milliseconds
  /close              closes the connection without answering
  /echo               400 with the target and the Authorization header as body
  /basic, /bearer, /digest  401 unless authenticated as alice / s3cret, or
                      with the token t0ken
  anything else       200 "ok"
Exits when its standard input closes, so it never outlives the test.
"""
import base64
import hashlib
import json
import os
import socketserver
import ssl
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

CERTS = sys.argv[1]
USER, PASSWORD, TOKEN = "alice", "s3cret", "t0ken"
REALM, NONCE = "orv-test", "5f2b0c8d9e1a"
output_lock = threading.Lock()


def emit(record):
    with output_lock:
        sys.stdout.write(json.dumps(record) + "\n")
        sys.stdout.flush()


def md5(text):
    return hashlib.md5(text.encode()).hexdigest()


def digest_ok(header, method):
    if not header.startswith("Digest "):
        return False
    fields = {}
    for part in header[7:].split(","):
        name, _, value = part.strip().partition("=")
        fields[name] = value.strip('"')
    ha1 = md5(f"{USER}:{REALM}:{PASSWORD}")
    ha2 = md5(f"{method}:{fields.get('uri', '')}")
    if "qop" in fields:
        expected = md5(f"{ha1}:{NONCE}:{fields.get('nc')}:{fields.get('cnonce')}:{fields['qop']}:{ha2}")
    else:
        expected = md5(f"{ha1}:{NONCE}:{ha2}")
    return fields.get("username") == USER and fields.get("response") == expected


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def answer(self, status, body=b"", headers=()):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def handle_any(self):
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length) if length else b""
        client = ""
        peer = getattr(self.connection, "getpeercert", None)
        if peer and peer():
            for entry in peer().get("subject", ()):
                for name, value in entry:
                    if name == "commonName":
                        client = value
        emit({"listener": self.server.name, "method": self.command, "target": self.path,
              "headers": [[k, v.encode("latin-1").decode("utf-8", "replace")] for k, v in self.headers.items()],
              "body": body.decode("utf-8", "replace"), "client": client, "peer": self.client_address[1]})
        segments = self.path.split("?")[0].split("/")
        first = segments[1] if len(segments) > 1 else ""
        authorization = self.headers.get("Authorization", "")
        query = self.path.partition("?")[2].split("?")
        if first == "status":
            status = int(segments[2])
            text = f"status {status} from the test server"
            if "long" in query:
                text = (text + " " + "x" * 300)[:300]
            after = [item[6:] for item in query if item.startswith("after=")]
            self.answer(status, text.encode(), [("Retry-After", after[0])] if after else ())
        elif first == "delay":
            time.sleep(int(segments[2]) / 1000)
            self.answer(200, b"late")
        elif first == "close":
            self.close_connection = True
        elif first == "echo":
            self.answer(400, f"{self.path} {authorization}".encode())
        elif first == "basic":
            expected = "Basic " + base64.b64encode(f"{USER}:{PASSWORD}".encode()).decode()
            self.answer(200, b"ok") if authorization == expected else self.answer(
                401, b"who?", [("WWW-Authenticate", f'Basic realm="{REALM}"')])
        elif first == "bearer":
            self.answer(200, b"ok") if authorization == "Bearer " + TOKEN else self.answer(401, b"who?")
        elif first == "digest":
            if digest_ok(authorization, self.command):
                self.answer(200, b"ok")
            else:
                challenge = f'Digest realm="{REALM}", nonce="{NONCE}", qop="auth", algorithm=MD5'
                self.answer(401, b"who?", [("WWW-Authenticate", challenge)])
        else:
            self.answer(200, b"ok")

    do_GET = do_POST = do_PUT = do_PATCH = do_DELETE = handle_any


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True

    def __init__(self, name, context, port=0):
        super().__init__(("127.0.0.1", port), Handler)
        self.name = name
        self.context = context

    def finish_request(self, request, client_address):
        # The handshake runs on the connection's own thread: a client that
        # gives up half-way holds up nobody else.
        if self.context is not None:
            try:
                request = self.context.wrap_socket(request, server_side=True)
            except (ssl.SSLError, OSError):
                return
        super().finish_request(request, client_address)


def tls_context(cert, key, client_ca=None):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(os.path.join(CERTS, cert), os.path.join(CERTS, key))
    if client_ca:
        context.verify_mode = ssl.CERT_REQUIRED
        context.load_verify_locations(os.path.join(CERTS, client_ca))
    return context


servers = {
    "http": Server("http", None, int(sys.argv[2]) if len(sys.argv) > 2 else 0),
    "https": Server("https", tls_context("server.pem", "server.key")),
    "self_signed": Server("self_signed", tls_context("self.pem", "self.key")),
    "mutual": Server("mutual", tls_context("server.pem", "server.key", "ca.pem")),
}
for server in servers.values():
    threading.Thread(target=server.serve_forever, daemon=True).start()
emit({name: server.server_address[1] for name, server in servers.items()})
sys.stdin.read()
os._exit(0)
