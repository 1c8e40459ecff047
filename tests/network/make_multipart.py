#!/usr/bin/env python3
"""Writes multipart.csv to standard output: bodies by two producers, and their parts as Python's email parser reads them.

Needs python3-aiohttp. Rows: case, kind (body, part, header or data), name (the line end of a body, the lower-case name of a
header), bytes in hexadecimal. The parser takes the whole line end before a boundary away, and lower case is ASCII's.
"""

import asyncio
import email
import email.policy
import platform
import random
from email.mime.application import MIMEApplication
from email.mime.multipart import MIMEMultipart
from email.mime.nonmultipart import MIMENonMultipart
from email.mime.text import MIMEText

import aiohttp
from aiohttp import FormData, MultipartReader, MultipartWriter

RANDOM = random.Random(20240229)


def mail(policy):
    message = MIMEMultipart("related", boundary="===============5302841096785215==")
    message.attach(MIMEText("first line\nsecond line\n--\n-- \n--====\n", "plain", "us-ascii"))
    message.attach(MIMEText("<p>Grüße, 你好</p>", "html", "utf-8"))
    message.attach(MIMEText("", "Xml", "us-ascii"))
    message.attach(MIMEApplication(RANDOM.randbytes(100), Name="Data.BIN"))
    plain = MIMENonMultipart("text", "csv")
    plain["X-Note"] = "a: b; C"
    plain.set_payload("a,b\n\n\n")
    message.attach(plain)
    message.epilogue = "An epilogue.\n--===============5302841096785215==\n"
    body = message.as_bytes(policy=policy)
    end = policy.linesep.encode() * 2
    return body[body.index(end) + len(end) :], message.get_boundary()


class Sink:
    def __init__(self):
        self.data = b""

    async def write(self, data):
        self.data += data


def written(payload):
    sink = Sink()
    asyncio.run(payload.write(sink))
    return sink.data, payload.boundary


def mixed():
    writer = MultipartWriter("mixed", boundary="-----------------------------7A3F01BB2C9D")
    writer.append(bytes(range(256)) + RANDOM.randbytes(150))
    writer.append("Zeile 1\r\nZeile 2\r\n\r\n", {"Content-Type": "Text/PLAIN; charset=UTF-8", "X-Empty": ""})
    writer.append(b"")
    writer.append_json({"-": ["--", "---", 1.5e-7]}, {"Context-Type": "application/json"})
    # What nearly is a boundary: a shorter run of hyphens, a longer one, another last character, a bare line feed before it.
    for nearly in (b"-" * 27, b"-" * 200, b"\r\n" + b"-" * 31 + b"7A3F01BB2C9E\n", b"\n", b"\r", b"\r\n-", b"\r\n--"):
        writer.append(nearly, {"Content-Type": "application/octet-stream"})
    return written(writer)


def form():
    data = FormData(quote_fields=False)
    data.add_field("field", "value")
    data.add_field("Datei", RANDOM.randbytes(64), filename="Ä b.bin", content_type="image/png")
    data._is_multipart = True
    data._writer._boundary = b"4e6f7420612072616e646f6d206f6e65"  # the same on every run
    return written(data())


async def agree(body, boundary, parts):
    """The producer's own reader sees the same data."""
    reader = aiohttp.StreamReader(type("Protocol", (), {"_reading_paused": False})(), 2**20)
    reader.feed_data(body)
    reader.feed_eof()
    multipart = MultipartReader({"Content-Type": f'multipart/mixed; boundary="{boundary}"'}, reader)
    for _, data in parts:
        part = await multipart.next()
        assert bytes(await part.read()) == data
    assert await multipart.next() is None


def parse(body, boundary, end):
    head = b'Content-Type: multipart/mixed; boundary="' + boundary.encode() + b'"' + end * 2
    message = email.message_from_bytes(head + body, policy=email.policy.compat32)
    for part in message.get_payload():
        headers = {name.lower(): value.strip() for name, value in part._headers}
        yield headers, part._payload.encode("ascii", "surrogateescape")  # get_payload() decodes


def row(*cells):
    print(",".join(cells))


print(f"# Python {platform.python_version()} email, aiohttp {aiohttp.__version__}: make_multipart.py")
for case, (body, boundary), name in (
    ("mail_lf", mail(email.policy.compat32.clone(max_line_length=0)), "lf"),
    ("mail_crlf", mail(email.policy.SMTP.clone(max_line_length=0)), "crlf"),
    ("aiohttp_mixed", mixed(), "crlf"),
    ("aiohttp_form", form(), "crlf"),
):
    parts = list(parse(body, boundary, b"\n" if name == "lf" else b"\r\n"))
    if case.startswith("aiohttp"):
        asyncio.run(agree(body, boundary, parts))
    row(case, "body", name, body.hex())
    for headers, data in parts:
        row(case, "part", "", "")
        for header, value in headers.items():
            row(case, "header", header, value.encode("ascii", "surrogateescape").lower().hex())
        row(case, "data", "", data.hex())
