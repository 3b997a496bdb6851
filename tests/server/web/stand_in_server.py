#!/usr/bin/env python3
"""A stand-in for tavnd's page routes, for testing the listening page in a
browser: serves the page's files, GET /v1/voices, POST /v1/speak (marks or
audio, and a markup error for malformed markup) and the audio, streamed as
tavnd streams it (chunked, WAVE sizes 0xFFFFFFFF).  Listens on 127.0.0.1
at a port chosen by the system, written to --port-file."""

import argparse
import os
import http.server
import json
import re
import struct
import xml.etree.ElementTree as ElementTree

PAGE_FILES = {"/": "index.html", "/index.html": "index.html", "/style.css": "style.css", "/app.js": "app.js"}
MEDIA_TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css; charset=utf-8",
               ".js": "text/javascript; charset=utf-8"}
SECURITY_POLICY = ("default-src 'self'; img-src 'self' data:; media-src 'self' blob: data:; "
                   "object-src 'none'; base-uri 'none'; frame-ancestors 'none'")
VOICES = {
    "voices": [
        {"name": "de", "language": "de", "sample_rate": 22050, "backend": "espeak-ng"},
        {"name": "en", "language": "en", "sample_rate": 22050, "backend": "espeak-ng"},
        {"name": "flite:slt", "language": "en-us", "sample_rate": 16000, "backend": "flite"},
    ],
    "formats": [
        {"row": 4, "name": "PCM16K16B1C", "media_type": "audio/wav", "extension": "wav"},
        {"row": 12, "name": "ULAW8K1C", "media_type": "audio/wav", "extension": "wav"},
        {"row": 30, "name": "MP316K1C", "media_type": "audio/mpeg", "extension": "mp3"},
    ],
}
SENTENCE_MS = 1500  # each sentence of the canned audio lasts this long


def sentences(text):
    """(start, end) UTF-8 byte offsets of each sentence: runs ending in . ! ? or the end."""
    data = text.encode("utf-8")
    return [(m.start(), m.end()) for m in re.finditer(rb"[^\s][^.!?]*[.!?]*", data)]


def markup_error(text):
    if not text.lstrip().startswith("<speak"):
        return None
    try:
        ElementTree.fromstring(text)
        return None
    except ElementTree.ParseError as e:
        return str(e)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    page_dir = ""
    audio = b""

    def log_message(self, *args):  # quiet: the test prints what matters
        pass

    def answer(self, status, media_type, body, headers=()):
        self.send_response(status)
        self.send_header("Content-Type", media_type)
        self.send_header("Content-Length", str(len(body)))
        for name, value in headers:
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(body)

    def error(self, status, message, param=None):
        body = json.dumps({"error": {"message": message, "type": "invalid_request_error", "param": param}})
        self.answer(status, "application/json", body.encode())

    def stream_audio(self):
        # Sizes unknown while streaming: RIFF and data sizes 0xFFFFFFFF.
        audio = bytearray(self.audio)
        audio[4:8] = struct.pack("<I", 0xFFFFFFFF)
        audio[40:44] = struct.pack("<I", 0xFFFFFFFF)
        self.send_response(200)
        self.send_header("Content-Type", "audio/wav")
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        for at in range(0, len(audio), 16000):
            chunk = bytes(audio[at:at + 16000])
            self.wfile.write(b"%x\r\n%s\r\n" % (len(chunk), chunk))
        self.wfile.write(b"0\r\n\r\n")

    def do_GET(self):
        path = self.path.split("?")[0]
        if path in PAGE_FILES:
            name = PAGE_FILES[path]
            with open(f"{self.page_dir}/{name}", "rb") as f:
                body = f.read()
            media_type = MEDIA_TYPES[name[name.rindex("."):]]
            self.answer(200, media_type, body, [("Content-Security-Policy", SECURITY_POLICY)])
        elif path == "/v1/voices":
            self.answer(200, "application/json", json.dumps(VOICES).encode())
        elif path == "/v1/audio":
            self.stream_audio()
        else:
            self.error(404, f"no route {path}")

    def do_POST(self):
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length)
        if self.path != "/v1/speak":
            self.error(404, f"no route {self.path}")
            return
        if self.headers.get("Content-Type", "").split(";")[0].strip() != "application/json":
            self.error(415, "Content-Type must be application/json")
            return
        request = json.loads(body)
        text = request.get("text", "")
        fault = markup_error(text)
        if fault is not None:
            self.error(400, f"the markup is not well-formed: {fault}", "text")
            return
        if request.get("marks") != "json":
            self.answer(200, "audio/wav", self.audio)
            return
        data = text.encode("utf-8")
        marks = [{"time": i * SENTENCE_MS, "type": "sentence", "start": s, "end": e,
                  "value": data[s:e].decode("utf-8")} for i, (s, e) in enumerate(sentences(text))]
        answer = {"audio_url": "/v1/audio?key=0123456789abcdef0123456789abcdef", "media_type": "audio/wav",
                  "duration_ms": len(marks) * SENTENCE_MS, "marks": marks}
        self.answer(200, "application/json", json.dumps(answer).encode())


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--page", required=True, help="the folder of the page's files")
    parser.add_argument("--audio", required=True, help="the WAVE file every request gets")
    parser.add_argument("--port-file", required=True, help="where to write the port")
    args = parser.parse_args()
    Handler.page_dir = args.page
    with open(args.audio, "rb") as f:
        Handler.audio = f.read()
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    with open(args.port_file + ".tmp", "w") as f:
        f.write(str(server.server_address[1]))
    os.replace(args.port_file + ".tmp", args.port_file)
    server.serve_forever()


if __name__ == "__main__":
    main()
