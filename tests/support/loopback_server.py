"""The server of the network tests: well-formed replies by aiohttp, faults by bare sockets, on loopback alone.

LoopbackServer.h lists the ports and what each path answers. Prints one line "name=value<TAB>name=value..." when all ports
listen; ends when its standard input closes, or after an hour.
"""
import asyncio
import base64
import datetime
import gzip
import hashlib
import ipaddress
import itertools
import json
import os
import re
import secrets
import shutil
import signal
import socket
import ssl
import tempfile
import threading
import traceback
import zlib
from pathlib import Path
from urllib.parse import parse_qs, urlsplit

from aiohttp import MultipartWriter, web
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec

LIFETIME = 3600
PATTERN = bytes(range(251)) * 4096   # byte i of every body is i modulo 251: a prime, so that a lost block shows
counters = {}
nonces = set()


# --- Certificates ---------------------------------------------------------------------------------------------------

class Authority:
    """A root certificate, and server and client certificates that it signs. Elliptic keys: made in no time."""

    def __init__(self, folder, name):
        self.folder = folder
        self.key, self.certificate = None, None
        self.file = self.issue(name, names=["localhost"])

    def issue(self, name, names, days=30):
        key = ec.generate_private_key(ec.SECP256R1())
        is_root = self.key is None
        subject = x509.Name([x509.NameAttribute(x509.NameOID.COMMON_NAME, name)])
        now = datetime.datetime.utcnow()
        alternatives = [x509.IPAddress(ipaddress.ip_address(n)) if n[0].isdigit() else x509.DNSName(n) for n in names]
        certificate = (
            x509.CertificateBuilder().subject_name(subject)
            .issuer_name(subject if is_root else self.certificate.subject)
            .public_key(key.public_key()).serial_number(x509.random_serial_number())
            .not_valid_before(now - datetime.timedelta(days=60)).not_valid_after(now + datetime.timedelta(days=days))
            .add_extension(x509.BasicConstraints(ca=is_root, path_length=None), critical=True)
            .add_extension(x509.SubjectAlternativeName(alternatives), critical=False)
            .sign(key if is_root else self.key, hashes.SHA256()))
        if is_root:
            self.key, self.certificate = key, certificate
        pem = self.folder / f"{name}.pem"
        pem.write_bytes(
            key.private_bytes(serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8,
                              serialization.NoEncryption())
            + certificate.public_bytes(serialization.Encoding.PEM))
        return pem


def tls(pem, client_ca=None):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(pem)
    context.set_alpn_protocols(["h2", "http/1.1"])   # aiohttp cannot speak the first: a client that takes it fails
    if client_ca:
        context.load_verify_locations(client_ca)
        context.verify_mode = ssl.CERT_REQUIRED
    return context


# --- Well-formed replies --------------------------------------------------------------------------------------------

def number(request, name, default=0):
    return int(request.query.get(name, default))


def pattern(start, size):
    start %= 251
    return PATTERN[start:start + size] if start + size <= len(PATTERN) else (
        PATTERN * (size // len(PATTERN) + 2))[start:start + size]


def as_json(value, status=200, headers=None):
    # Without blanks and with sorted keys, so that a test can look for a piece of it.
    text = json.dumps(value, ensure_ascii=False, sort_keys=True, separators=(",", ":"))
    return web.Response(text=text, status=status, content_type="application/json", headers=headers)


async def send_bytes(request):
    """?n= bytes, ?chunked=1, ?piece= bytes at a time, ?pause= milliseconds between, ?hang_after= bytes, ?status="""
    size, piece, pause = number(request, "n"), number(request, "piece", 1 << 18), number(request, "pause")
    hang_after = number(request, "hang_after", size)
    response = web.StreamResponse(status=number(request, "status", 200))
    if request.query.get("chunked"):
        response.enable_chunked_encoding()
    else:
        response.content_length = size
    await response.prepare(request)
    if request.method == "HEAD":
        return response
    for start in range(0, hang_after, piece):
        await response.write(pattern(start, min(piece, hang_after - start)))
        await asyncio.sleep(pause / 1000)   # for 0 too: a TLS transport tells of its end only between two steps
        if request.transport is None or request.transport.is_closing():
            return response
    if hang_after < size:
        await asyncio.sleep(LIFETIME)
    return response


async def echo(request):
    body = await request.read()
    return as_json({"method": request.method, "path": request.path, "query": list(request.query.items()),
                    "raw_query": urlsplit(request.raw_path).query,
                    "headers": [[name.lower(), value] for name, value in request.headers.items()],
                    "body": body.decode("latin-1")}, status=number(request, "status", 200))


async def echo_form(request):
    """What aiohttp makes of a form, urlencoded or multipart."""
    if not request.content_type.startswith("multipart/"):
        return as_json({"fields": list((await request.post()).items())})
    parts = []
    async for part in await request.multipart():
        data = bytes(await part.read(decode=False))
        parts.append({"name": part.name, "filename": part.filename, "size": len(data),
                      "headers": [[name.lower(), value] for name, value in part.headers.items()],
                      "sha256": hashlib.sha256(data).hexdigest(),
                      "text": data.decode("utf-8", "replace") if len(data) <= 4096 else ""})
    return as_json({"content_type": request.content_type, "parts": parts})


async def take(request):
    """Reads a body of any size and keeps nothing; ?pause= milliseconds between pieces."""
    size, sha, is_pattern = 0, hashlib.sha256(), True
    async for piece in request.content.iter_chunked(1 << 16):
        is_pattern &= piece == pattern(size, len(piece))
        size += len(piece)
        sha.update(piece)
        if number(request, "pause"):
            await asyncio.sleep(number(request, "pause") / 1000)
    return as_json({"method": request.method, "size": size, "sha256": sha.hexdigest(), "is_pattern": is_pattern,
                    "content_length": request.headers.get("Content-Length", "")})


async def refuse_body(request):
    """Answers 413 and closes without reading the body."""
    response = web.Response(status=413, text="too large")
    response.force_close()
    return response


async def status(request):
    code = int(request.match_info["code"])
    if "times" in request.query and counters[request.query["key"]] > number(request, "times"):
        code = number(request, "then", 200)
    headers = {"Location": request.query["location"]} if "location" in request.query else None
    return web.Response(status=code, body=request.query.get("body", f"status {code}").encode(), headers=headers)


async def redirect(request):
    hops, to = number(request, "n", 1), request.query.get("to", "/echo")
    code = number(request, "code", 302)
    if hops > 1:
        to = str(request.rel_url.update_query(n=str(hops - 1)))
    await request.read()
    return web.Response(status=code, headers={"Location": to}, text="moved")


async def redirect_loop(request):
    counters["redirect_loop"] = counters.get("redirect_loop", 0) + 1
    return web.Response(status=302, headers={"Location": "/redirect-loop"})


def user_of(request):
    return request.query.get("user", "user"), request.query.get("password", "password")


async def auth_basic(request):
    expected = "Basic " + base64.b64encode(":".join(user_of(request)).encode()).decode()
    await request.read()
    if request.headers.get("Authorization") != expected:
        return web.Response(status=401, headers={"WWW-Authenticate": 'Basic realm="loopback"'}, text="who are you?")
    return as_json({"user": user_of(request)[0], "method": request.method})


async def auth_digest(request):
    """RFC 7616 with qop=auth; ?algorithm=MD5 or SHA-256. The body must come with the authorized request."""
    algorithm = request.query.get("algorithm", "MD5")
    function = {"MD5": hashlib.md5, "SHA-256": hashlib.sha256}[algorithm]
    user, password = user_of(request)
    body = await request.read()

    def digest(*parts):
        return function(":".join(parts).encode()).hexdigest()

    given = request.headers.get("Authorization", "")
    fields = {name: quoted or bare for name, quoted, bare in re.findall(r'(\w+)=(?:"([^"]*)"|([^\s,]+))', given)}
    if given.startswith("Digest ") and fields.get("nonce") in nonces and fields.get("username") == user:
        expected = digest(digest(user, fields["realm"], password), fields["nonce"], fields["nc"], fields["cnonce"],
                          fields["qop"], digest(request.method, fields["uri"]))
        if fields["uri"] == request.raw_path and fields["response"] == expected:
            return as_json({"user": user, "method": request.method, "body": body.decode("latin-1")})
    nonces.add(nonce := secrets.token_hex(16))
    challenge = f'Digest realm="loopback", qop="auth", algorithm={algorithm}, nonce="{nonce}"'
    return web.Response(status=401, headers={"WWW-Authenticate": challenge}, text="who are you?")


async def auth_bearer(request):
    await request.read()
    if request.headers.get("Authorization") != "Bearer " + request.query.get("token", "token"):
        return web.Response(status=401, headers={"WWW-Authenticate": "Bearer"}, text="no token")
    return as_json({"token": "accepted"})


async def cookie_set(request):
    response = web.Response(text="set")
    response.set_cookie(request.query.get("name", "flavour"), request.query.get("value", "vanilla"))
    return response


async def cookie_get(request):
    return as_json(dict(request.cookies))


def encoded(request, encode, name):
    """?n= bytes of the pattern, encoded; ?cut= bytes are missing at the end, and the length agrees with that."""
    data = encode(pattern(0, number(request, "n", 100_000)))
    data = data[:len(data) - number(request, "cut")]
    headers = {"Content-Encoding": name} if name else None
    return web.Response(body=data, headers=headers, content_type="application/octet-stream",
                        status=number(request, "status", 200))


async def encoding(request):
    encode = {"gzip": gzip.compress, "deflate": zlib.compress, "none": bytes}[request.query.get("body", "none")]
    return encoded(request, encode, request.query.get("label", ""))


async def multipart(request):
    """By aiohttp's MultipartWriter. ?parts= of ?size= bytes each (part k holds the pattern from k on), ?subtype=, ?boundary=,
    ?cut= bytes missing at the end, ?piece=, ?pause= as for /bytes, ?status="""
    writer = MultipartWriter(request.query.get("subtype", "mixed"), boundary=request.query.get("boundary", "Loop-Back"))
    for k in range(number(request, "parts", 3)):
        writer.append(pattern(k, number(request, "size", 1000)),
                      {"Content-Type": "application/octet-stream", "X-Part": str(k)})

    class Collector:
        data = b""

        async def write(self, piece):
            self.data += piece

    collector = Collector()
    await writer.write(collector)
    data = collector.data[:len(collector.data) - number(request, "cut")]
    response = web.StreamResponse(status=number(request, "status", 200),
                                  headers={"Content-Type": writer.content_type, "Content-Length": str(len(data))})
    await response.prepare(request)
    piece = number(request, "piece", len(data) or 1)
    for start in range(0, len(data), piece):
        await response.write(data[start:start + piece])
        await asyncio.sleep(number(request, "pause") / 1000)
    return response


async def charset(request):
    """?text= as bytes of Python's ?codec=, of content type ?type= or charset ?name= (absent: the codec's)"""
    codec = request.query.get("codec", "utf-8")
    name = request.query.get("name", codec)
    content_type = request.query.get("type", "text/plain" + (f"; charset={name}" if name else ""))
    return web.Response(body=request.query.get("text", "").encode(codec), headers={"Content-Type": content_type})


async def hang(request):
    await asyncio.sleep(number(request, "ms", LIFETIME * 1000) / 1000)
    return web.Response(text="at last")


async def counter(request):
    return web.Response(text=str(counters.get(request.query["of"], 0)))


def make_app(connections):
    @web.middleware
    async def count(request, handler):
        if key := request.query.get("key"):
            counters[key] = counters.get(key, 0) + 1
        try:
            return await handler(request)
        except ConnectionError:   # the client broke off, as tests do: nothing to log
            raise asyncio.CancelledError from None

    async def show_connections(request):
        return as_json({"total": connections["total"], "open": connections["open"],
                        "this": connections["ids"][request.protocol]})

    app = web.Application(middlewares=[count], client_max_size=1 << 40)
    for path, handler in {
            "/bytes": send_bytes, "/echo": echo, "/echo-form": echo_form, "/take": take, "/refuse-body": refuse_body,
            "/status/{code:\\d+}": status, "/redirect": redirect, "/redirect-loop": redirect_loop,
            "/auth/basic": auth_basic, "/auth/digest": auth_digest, "/auth/bearer": auth_bearer,
            "/cookie/set": cookie_set, "/cookie/get": cookie_get,
            "/gzip": lambda r: answer(encoded(r, gzip.compress, "gzip")),
            "/deflate": lambda r: answer(encoded(r, zlib.compress, "deflate")), "/encoding": encoding,
            "/multipart": multipart, "/charset": charset, "/hang": hang, "/counter": counter,
            "/connections": show_connections}.items():
        app.router.add_route("*", path, handler)
    return app


async def answer(response):
    return response


# --- Faults, on bare sockets ----------------------------------------------------------------------------------------

HEAD = b"HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"


async def fault(reader, writer):
    """One request, one broken reply. ?n= is the number of body bytes sent."""
    try:
        head = (await reader.readuntil(b"\r\n\r\n")).decode("latin-1")
        parts = urlsplit(head.split(" ")[1])
        query = {name: values[0] for name, values in parse_qs(parts.query).items()}
        if key := query.get("key"):
            counters[key] = counters.get(key, 0) + 1
        size = int(query.get("n", 100_000))
        body = pattern(0, size)

        async def send(data):
            writer.write(data)
            await writer.drain()

        length = b"Content-Length: %d\r\n\r\n"
        path = parts.path
        if path == "/reset-mid-body":
            await send(HEAD + length % (size * 2) + body)
            await asyncio.sleep(0.05)
            writer.transport.get_extra_info("socket").setsockopt(
                socket.SOL_SOCKET, socket.SO_LINGER, b"\x01\0\0\0\0\0\0\0")   # close sends RST
            writer.transport.abort()
        elif path == "/truncate":
            await send(HEAD + length % (size * 2) + body)
        elif path == "/truncate-chunked":
            await send(HEAD + b"Transfer-Encoding: chunked\r\n\r\n" + b"%x\r\n" % size + body + b"\r\n")
        elif path == "/bad-chunk":
            await send(HEAD + b"Transfer-Encoding: chunked\r\n\r\n" + b"%x\r\n" % size + body + b"\r\nzz\r\nrest")
        elif path == "/truncate-gzip":
            packed = gzip.compress(body)
            await send(HEAD + b"Content-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n"
                       + b"%x\r\n" % (len(packed) // 2) + packed[:len(packed) // 2] + b"\r\n0\r\n\r\n")
        elif path == "/cut-head":
            await send(HEAD)
        elif path == "/cut-status-line":
            await send(b"HTTP/1.1 2")
        elif path == "/garbage":
            await send(b"\x16\x03\x01 this is not HTTP\r\n\r\n")
        elif path == "/empty":
            pass
        elif path == "/huge-header":
            await send(HEAD + b"X-Huge: " + b"x" * int(query.get("size", 1 << 20)) + b"\r\n" + length % size + body)
        elif path == "/many-headers":
            for k in range(int(query.get("count", 100_000))):
                await send(b"X-Header-%d: value\r\n" % k if k else HEAD)
            await send(length % size + body)
        elif path == "/slow-headers":
            for byte in HEAD + length % size:
                await send(bytes([byte]))
                await asyncio.sleep(int(query.get("pause", 100)) / 1000)
            await send(body)
        elif path == "/no-answer":
            await reader.read()   # until the client gives up
        elif path == "/no-length":   # well-formed: the end of the connection ends the body
            await send(HEAD + b"Connection: close\r\n\r\n" + body)
        elif path == "/http10":
            await send(b"HTTP/1.0 200 OK\r\n\r\n" + body)
        elif path == "/raw":
            await send(query["text"].encode("latin-1"))
        elif path == "/two-lengths":
            await send(HEAD + b"Content-Length: 10\r\n" + length % 20 + body[:20])
        elif path == "/negative-length":
            await send(HEAD + b"Content-Length: -5\r\n\r\n" + body)
        else:
            await send(b"HTTP/1.1 404 Not Found\r\n" + length % 0)
    except (ConnectionError, asyncio.IncompleteReadError, ssl.SSLError):
        pass
    finally:
        writer.close()


async def be_silent(reader, writer):
    """Accepts, and never says a word: not in TLS either."""
    try:
        await reader.read(1)
        await asyncio.sleep(LIFETIME)
    finally:
        writer.close()


# --- Proxies --------------------------------------------------------------------------------------------------------

async def pump(reader, writer):
    try:
        while data := await reader.read(1 << 16):
            writer.write(data)
            await writer.drain()
    except OSError:
        pass
    finally:
        writer.close()


async def join(client, server):
    await asyncio.gather(pump(client[0], server[1]), pump(server[0], client[1]))


def proxy(kind):
    """An HTTP proxy: CONNECT, and GET of a full URL. Counts what it carries under its kind."""
    expected = "Proxy-Authorization: Basic " + base64.b64encode(b"user:password").decode()

    async def serve(reader, writer):
        try:
            while True:
                head = (await reader.readuntil(b"\r\n\r\n")).decode("latin-1")
                refusal = (b"403 Forbidden" if kind == "proxy_refusing" else
                           b'407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm="proxy"'
                           if kind == "proxy_auth" and expected not in head else None)
                if not refusal:
                    break
                writer.write(b"HTTP/1.1 " + refusal + b"\r\nContent-Length: 7\r\n\r\nrefused")
            counters[kind] = counters.get(kind, 0) + 1
            verb, target, rest = head.split(" ", 2)
            parts = urlsplit(target if verb != "CONNECT" else "//" + target)
            upstream = await asyncio.open_connection(parts.hostname, parts.port or 80)
            if verb == "CONNECT":
                writer.write(b"HTTP/1.1 200 Connection established\r\n\r\n")
            else:   # one request per connection: nothing after it need be read
                line, fields = rest.split("\r\n", 1)
                fields = re.sub(r"(?im)^Proxy-[^\n]*\n", "", fields)
                path = parts.path + ("?" + parts.query if parts.query else "")
                own = f"Via: 1.1 {kind}\r\nConnection: close\r\n"
                upstream[1].write(f"{verb} {path} {line}\r\n{own}{fields}".encode("latin-1"))
            await join((reader, writer), upstream)
        except (OSError, asyncio.IncompleteReadError):
            pass
        finally:
            writer.close()

    return serve


async def socks(reader, writer):
    """SOCKS 5 (RFC 1928) without authentication: the command CONNECT."""
    try:
        await reader.readexactly((await reader.readexactly(2))[1])
        writer.write(b"\x05\x00")
        kind = (await reader.readexactly(4))[3]
        if kind == 3:
            host = (await reader.readexactly((await reader.readexactly(1))[0])).decode()
        else:
            host = str(ipaddress.ip_address(await reader.readexactly({1: 4, 4: 16}[kind])))
        port = int.from_bytes(await reader.readexactly(2), "big")
        counters["socks"] = counters.get("socks", 0) + 1
        upstream = await asyncio.open_connection(host, port)
        writer.write(b"\x05\x00\x00\x01" + bytes(6))
        await join((reader, writer), upstream)
    except (OSError, asyncio.IncompleteReadError):
        pass
    finally:
        writer.close()


# --- The process ----------------------------------------------------------------------------------------------------

def count_connections(server, connections):
    """Every TCP connection of an aiohttp server gets a number."""
    made, lost, serial = server.connection_made, server.connection_lost, itertools.count(1)

    def on_made(handler, transport):
        connections["ids"][handler] = connections["total"] = next(serial)
        connections["open"] += 1
        made(handler, transport)

    def on_lost(handler, exc=None):
        if connections["ids"].pop(handler, None):
            connections["open"] -= 1
        lost(handler, exc)

    server.connection_made, server.connection_lost = on_made, on_lost


def full_backlog(keep):
    """A port that listens but answers no new connection: the queue of the accepted ones is full."""
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(0)
    for _ in range(4):
        filler = socket.socket()
        filler.setblocking(False)
        filler.connect_ex(listener.getsockname())
        keep.append(filler)
    keep.append(listener)
    return listener.getsockname()[1]


def end(folder):
    shutil.rmtree(folder, ignore_errors=True)
    os._exit(0)   # at once, whatever the connections do


def end_with_input(folder):
    """On a thread of its own: the test program ends, however busy the loop is."""
    os.read(0, 1)
    end(folder)


async def main(folder):
    asyncio.get_running_loop().set_exception_handler(lambda loop, context: None)   # connections that clients broke off
    root = Authority(folder, "root")
    stranger = Authority(folder, "stranger")
    here = ["localhost", "127.0.0.1"]
    good = root.issue("server", here)
    client = root.issue("client", ["client.example"])
    ready = {"ca_file": root.file, "client_certificate": client}
    keep = []

    for name, context in {
            "http": None, "https": tls(good), "https_expired": tls(root.issue("expired", here, days=-1)),
            "https_wrong_host": tls(root.issue("wrong", ["other.example"])),
            "https_self_signed": tls(stranger.file), "https_client": tls(good, root.file)}.items():
        connections = {"total": 0, "open": 0, "ids": {}}
        runner = web.AppRunner(make_app(connections), access_log=None)
        await runner.setup()
        count_connections(runner.server, connections)
        server = await asyncio.get_running_loop().create_server(runner.server, "127.0.0.1", 0, ssl=context)
        ready[name] = server.sockets[0].getsockname()[1]
        keep += [runner, server]

    for name, serve, context in (
            ("fault", fault, None), ("fault_tls", fault, tls(good)), ("silent", be_silent, None),
            ("proxy", proxy("proxy"), None), ("proxy_refusing", proxy("proxy_refusing"), None),
            ("proxy_auth", proxy("proxy_auth"), None), ("socks", socks, None)):
        server = await asyncio.start_server(serve, "127.0.0.1", 0, ssl=context, limit=1 << 20)
        ready[name] = server.sockets[0].getsockname()[1]
        keep.append(server)

    ready["silent_tls"] = ready["silent"]   # the same, for a URL that begins with https
    ready["black_hole"] = full_backlog(keep)
    refusing = socket.socket()   # bound, so that no one else gets the port, but not listening
    refusing.bind(("127.0.0.1", 0))
    ready["refused"] = refusing.getsockname()[1]

    print("\t".join(f"{name}={value}" for name, value in ready.items()), flush=True)
    await asyncio.sleep(LIFETIME)


if __name__ == "__main__":
    place = Path(tempfile.mkdtemp(prefix="loopback"))
    for name in (signal.SIGTERM, signal.SIGINT):
        signal.signal(name, lambda *_: end(place))
    threading.Thread(target=end_with_input, args=[place], daemon=True).start()
    try:
        asyncio.run(main(place))
    except Exception:
        traceback.print_exc()
    end(place)
