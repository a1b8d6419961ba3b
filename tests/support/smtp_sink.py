"""An SMTP server on loopback for the mail tests.

Usage: smtp_sink.py FOLDER [greeting|data|quit]

Listens on a free port of 127.0.0.1, prints "PORT <n>" once it accepts
connections, and writes every message it receives into FOLDER as a JSON file
(NNNN.json, in the order of arrival) with the envelope, the raw data and the
subject and plain-text body as a mail reader decodes them. Stops when its
standard input closes.

With a second argument the server stops answering at that point and keeps the
line open, so that the client must give up on its own time-out: it never
greets, never confirms the message (after taking it whole), or never answers
the QUIT. A message taken whole is written as a file with its raw data.
"""

import json
import os
import socket
import sys
import threading

from email import policy
from email.parser import BytesParser


class Folder:
    def __init__(self, folder):
        self.folder = folder
        self.count = 0
        self.lock = threading.Lock()

    def write(self, record):
        with self.lock:
            self.count += 1
            name = os.path.join(self.folder, "%04d.json" % self.count)
        with open(name + ".part", "w", encoding="utf-8") as out:
            json.dump(record, out)
        os.replace(name + ".part", name)


class Sink:
    def __init__(self, folder):
        self.folder = folder

    async def handle_DATA(self, server, session, envelope):
        raw = envelope.original_content or envelope.content
        if isinstance(raw, str):
            raw = raw.encode("utf-8", "surrogateescape")
        message = BytesParser(policy=policy.default).parsebytes(raw)
        part = message.get_body(preferencelist=("plain",))
        self.folder.write({
            "mail_from": envelope.mail_from,
            "rcpt_tos": list(envelope.rcpt_tos),
            "subject": str(message.get("Subject", "")),
            # Line breaks as a reader shows them: the wire's CR LF become LF.
            "body": part.get_content().replace("\r\n", "\n") if part is not None else "",
            "defects": [type(d).__name__ for d in message.defects],
            "data": raw.decode("utf-8", "replace"),
        })
        return "250 Message accepted for delivery"


def talk_until_silent(client, silence, folder):
    """Answers as a plain SMTP server until the chosen point, then reads on without
    a word until the client hangs up."""
    silent = silence == "greeting"
    if not silent:
        client.sendall(b"220 silent.test ESMTP\r\n")
    pending = b""
    in_data = False
    while True:
        got = client.recv(4096)
        if not got:
            return
        if silent:
            continue
        pending += got
        while True:
            if in_data:
                end = pending.find(b"\r\n.\r\n")
                if end < 0:
                    break
                folder.write({"data": pending[2:end].decode("utf-8", "replace")})
                pending, in_data = pending[end + 5:], False
                silent = silence == "data"
                if not silent:
                    client.sendall(b"250 2.0.0 queued\r\n")
                continue
            end = pending.find(b"\r\n")
            if end < 0 or silent:
                break
            command, pending = pending[:end].upper(), pending[end + 2:]
            if command.startswith(b"DATA"):
                client.sendall(b"354 end with <CR><LF>.<CR><LF>\r\n")
                # The message may start right behind the command.
                pending, in_data = b"\r\n" + pending, True
            elif command.startswith(b"QUIT"):
                silent = silence == "quit"
                if not silent:
                    client.sendall(b"221 2.0.0 bye\r\n")
                    return
            else:
                client.sendall(b"250 OK\r\n")


def serve_silent(listener, silence, folder):
    while True:
        client, _ = listener.accept()
        threading.Thread(target=talk_until_silent, args=(client, silence, folder),
                         daemon=True).start()


def main():
    folder = Folder(sys.argv[1])
    if len(sys.argv) > 2:
        listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        listener.bind(("127.0.0.1", 0))
        listener.listen(4)
        threading.Thread(target=serve_silent, args=(listener, sys.argv[2], folder),
                         daemon=True).start()
        print("PORT %d" % listener.getsockname()[1], flush=True)
        sys.stdin.read()
        return
    from aiosmtpd.controller import Controller
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    controller = Controller(Sink(folder), hostname="127.0.0.1", port=port)
    controller.start()
    print("PORT %d" % controller.port, flush=True)
    try:
        sys.stdin.read()
    finally:
        controller.stop()


if __name__ == "__main__":
    main()
