"""An SMTP server on loopback for the mail tests.

Usage: smtp_sink.py FOLDER

Listens on a free port of 127.0.0.1, prints "PORT <n>" once it accepts
connections, and writes every message it receives into FOLDER as a JSON file
(NNNN.json, in the order of arrival) with the envelope, the raw data and the
subject and plain-text body as a mail reader decodes them. Stops when its
standard input closes.
"""

import json
import os
import socket
import sys

from email import policy
from email.parser import BytesParser

from aiosmtpd.controller import Controller


class Sink:
    def __init__(self, folder):
        self.folder = folder
        self.count = 0

    async def handle_DATA(self, server, session, envelope):
        raw = envelope.original_content or envelope.content
        if isinstance(raw, str):
            raw = raw.encode("utf-8", "surrogateescape")
        message = BytesParser(policy=policy.default).parsebytes(raw)
        part = message.get_body(preferencelist=("plain",))
        self.count += 1
        record = {
            "mail_from": envelope.mail_from,
            "rcpt_tos": list(envelope.rcpt_tos),
            "subject": str(message.get("Subject", "")),
            # Line breaks as a reader shows them: the wire's CR LF become LF.
            "body": part.get_content().replace("\r\n", "\n") if part is not None else "",
            "headers": {name: str(value) for name, value in message.items()},
            "defects": [type(d).__name__ for d in message.defects],
            "data": raw.decode("utf-8", "replace"),
        }
        name = os.path.join(self.folder, "%04d.json" % self.count)
        with open(name + ".part", "w", encoding="utf-8") as out:
            json.dump(record, out)
        os.replace(name + ".part", name)
        return "250 Message accepted for delivery"


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def main():
    folder = sys.argv[1]
    controller = Controller(Sink(folder), hostname="127.0.0.1", port=free_port())
    controller.start()
    print("PORT %d" % controller.port, flush=True)
    try:
        sys.stdin.read()
    finally:
        controller.stop()


if __name__ == "__main__":
    main()
