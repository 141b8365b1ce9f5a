"""A recording SMTP server for the tests of orv.action.Mail (aiosmtpd).

Listens on 127.0.0.1 on free ports: "plain" (no TLS; AUTH offered anyway),
"starttls" (STARTTLS required before AUTH and mail) and "tls" (implicit TLS),
both with a certificate signed by the test CA. AUTH PLAIN and LOGIN accept
alice / s3cret only; mail without AUTH is accepted too. Prints the ports as
one JSON line, then one JSON line per message accepted:
  {"listener", "mail_from", "rcpt_tos", "data": the message as received,
   "subject", "text", "html": decoded by Python's email package,
   "authenticated": the login or "", "peer": the client's port}
Addresses choose failures: a sender starting with "reject-sender" gets 550;
recipients "reject@..." get 550, "slow@..." are answered after 3 seconds,
"drop@..." make the server close the connection; "quote-login@..." get 550
quoting the login and password the session authenticated with;
"reject-data@..." makes the DATA fail with 554; "flaky@..." makes it fail with
451 the first time a Message-ID is seen, and the server then prints
  {"listener", "refused_message_id"}.
Exits when its standard input closes, so it never outlives the test.
"""
import asyncio
import email
import email.policy
import json
import os
import socket
import ssl
import sys
import threading

from aiosmtpd.controller import Controller
from aiosmtpd.smtp import AuthResult, LoginPassword

CERTS = sys.argv[1]
output_lock = threading.Lock()


def emit(record):
    with output_lock:
        sys.stdout.write(json.dumps(record) + "\n")
        sys.stdout.flush()


def authenticate(server, session, envelope, mechanism, auth_data):
    ok = isinstance(auth_data, LoginPassword) and auth_data.login == b"alice" and auth_data.password == b"s3cret"
    return AuthResult(success=ok, handled=False, auth_data=auth_data if ok else None)


def part_text(message, subtype):
    part = message.get_body(preferencelist=(subtype,))
    return part.get_content() if part is not None and part.get_content_subtype() == subtype else None


class Handler:
    def __init__(self, name):
        self.name = name
        self.refused = set()

    async def handle_MAIL(self, server, session, envelope, address, options):
        if address.startswith("reject-sender"):
            return "550 5.7.1 sender " + address + " is not allowed"
        envelope.mail_from = address
        envelope.mail_options.extend(options)
        return "250 OK"

    async def handle_RCPT(self, server, session, envelope, address, options):
        local = address.split("@")[0]
        if local == "reject":
            return "550 5.1.1 no mailbox " + address
        if local == "slow":
            await asyncio.sleep(3)
        if local == "quote-login":
            data = session.auth_data
            login = f"{data.login.decode()}:{data.password.decode()}" if isinstance(data, LoginPassword) else "-"
            return "550 5.7.1 refused for login " + login
        if local == "drop":
            server.transport.close()
            return "421 closing"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        if any(r.startswith("reject-data@") for r in envelope.rcpt_tos):
            return "554 5.6.0 message content refused"
        data = envelope.original_content
        message = email.message_from_bytes(data, policy=email.policy.default)
        if any(r.startswith("flaky@") for r in envelope.rcpt_tos):
            message_id = str(message["Message-ID"])
            if message_id not in self.refused:
                self.refused.add(message_id)
                emit({"listener": self.name, "refused_message_id": message_id})
                return "451 4.3.0 try again later"
        data_ = session.auth_data
        login = data_.login.decode() if isinstance(data_, LoginPassword) else ""
        emit({"listener": self.name, "mail_from": envelope.mail_from, "rcpt_tos": envelope.rcpt_tos,
              "data": data.decode("utf-8", "replace"), "subject": str(message["Subject"]),
              "text": part_text(message, "plain"), "html": part_text(message, "html"),
              "authenticated": login, "peer": session.peer[1]})
        return "250 Message accepted"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(os.path.join(CERTS, "server.pem"), os.path.join(CERTS, "server.key"))
common = dict(authenticator=authenticate, auth_required=False, ready_timeout=10)
controllers = {
    "plain": Controller(Handler("plain"), hostname="127.0.0.1", port=free_port(), auth_require_tls=False,
                        **common),
    "starttls": Controller(Handler("starttls"), hostname="127.0.0.1", port=free_port(), tls_context=context,
                           require_starttls=True, **common),
    # Implicit TLS: the connection is secure from the start.
    "tls": Controller(Handler("tls"), hostname="127.0.0.1", port=free_port(), ssl_context=context,
                      server_hostname="localhost", auth_require_tls=False, **common),
}
for controller in controllers.values():
    controller.start()
emit({name: controller.port for name, controller in controllers.items()})
sys.stdin.read()
os._exit(0)
