#!/usr/bin/env python3
# A local transcription server for desktop tests, standard library only. It answers
# POST /v1/audio/transcriptions as an OpenAI-compatible server would, with a fixed sentence, after
# checking the request's shape: multipart/form-data with a RIFF/WAVE "file" holding audio,
# "model", "language" and response_format=json. Every request is appended to the record file as
# one JSON line (the fields, what the WAV holds, what was wrong with it), so a test can assert on
# what the application sent.
#
# The answer follows the first word of the mode file, read at each request: "ok" (or no file) the
# sentence, "garbage" a body that is not JSON, "error" a 500 with an error object.
#
# Usage: transcription_stub.py --text SENTENCE --record FILE --port-file FILE [--mode-file FILE]
# It listens on a free port of 127.0.0.1 and writes that port to the port file once it listens.
import argparse
import array
import http.server
import json
import os
import re
import struct
import sys


def parse_multipart(content_type, body):
    """The parts of a multipart/form-data body as {name: (filename, content type, bytes)}."""
    match = re.match(r'multipart/form-data\s*;.*boundary="?([^";]+)"?', content_type or "", re.IGNORECASE)
    if not match:
        raise ValueError(f"not multipart/form-data: {content_type!r}")
    delimiter = b"--" + match.group(1).encode("ascii")
    sections = body.split(delimiter)
    if len(sections) < 3 or not sections[-1].startswith(b"--"):
        raise ValueError("the body does not end with the closing boundary")
    parts = {}
    for section in sections[1:-1]:
        if not section.startswith(b"\r\n") or not section.endswith(b"\r\n"):
            raise ValueError("a part is not framed by CRLF")
        head, separator, content = section[2:-2].partition(b"\r\n\r\n")
        if not separator:
            raise ValueError("a part has no header end")
        headers = {}
        for line in head.decode("utf-8", "replace").split("\r\n"):
            key, _, value = line.partition(":")
            headers[key.strip().lower()] = value.strip()
        disposition = headers.get("content-disposition", "")
        name = re.search(r'\bname="([^"]*)"', disposition)
        if not disposition.lower().startswith("form-data") or not name:
            raise ValueError(f"a part without a form-data name: {disposition!r}")
        filename = re.search(r'\bfilename="([^"]*)"', disposition)
        parts[name.group(1)] = (filename.group(1) if filename else None, headers.get("content-type"), content)
    return parts


def describe_wav(data):
    """What a RIFF/WAVE file holds, or a "problem" entry."""
    if len(data) < 12 or data[:4] != b"RIFF" or data[8:12] != b"WAVE":
        return {"problem": "the file is not RIFF/WAVE", "bytes": len(data)}
    info = {"bytes": len(data)}
    offset = 12
    samples = b""
    while offset + 8 <= len(data):
        chunk, size = struct.unpack_from("<4sI", data, offset)
        content = data[offset + 8:offset + 8 + size]
        if chunk == b"fmt " and size >= 16:
            encoding, channels, rate, _, _, bits = struct.unpack_from("<HHIIHH", content)
            info.update(encoding=encoding, channels=channels, rate=rate, bits=bits)
        elif chunk == b"data":
            samples = content
        offset += 8 + size + (size & 1)
    if "rate" not in info:
        return {**info, "problem": "the WAV has no format chunk"}
    frame = info["channels"] * info["bits"] // 8
    info["seconds"] = len(samples) / frame / info["rate"] if frame and info["rate"] else 0
    # The loudest sample, 0…1, tells silence from the played speech.
    if info["encoding"] == 1 and info["bits"] == 16 and samples:
        values = array.array("h", samples[:len(samples) // 2 * 2])
        info["peak"] = max(abs(v) for v in values) / 32768
    elif info["encoding"] == 3 and info["bits"] == 32 and samples:
        values = array.array("f", samples[:len(samples) // 4 * 4])
        info["peak"] = max(abs(v) for v in values)
    if not samples:
        info["problem"] = "the WAV holds no audio"
    return info


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, format, *args):  # noqa: A002 - the base class's name
        sys.stderr.write("transcription_stub: " + format % args + "\n")

    def read_body(self):
        if self.headers.get("Transfer-Encoding", "").lower() == "chunked":
            body = b""
            while True:
                size = int(self.rfile.readline().split(b";")[0], 16)
                if size == 0:
                    while self.rfile.readline() not in (b"\r\n", b"\n", b""):
                        pass
                    return body
                body += self.rfile.read(size)
                self.rfile.readline()
        return self.rfile.read(int(self.headers.get("Content-Length", 0)))

    def answer(self, status, body, content_type="application/json"):
        payload = body if isinstance(body, bytes) else json.dumps(body).encode("utf-8")
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(payload)))
        self.end_headers()
        self.wfile.write(payload)

    def record(self, entry):
        with open(self.server.options.record, "a", encoding="utf-8") as out:
            out.write(json.dumps(entry) + "\n")

    def mode(self):
        try:
            with open(self.server.options.mode_file, encoding="utf-8") as source:
                return (source.read().split() or ["ok"])[0]
        except (OSError, TypeError):
            return "ok"

    def do_GET(self):
        self.record({"method": "GET", "path": self.path})
        if self.path.rstrip("/") == "/v1/models":
            self.answer(200, {"object": "list", "data": [{"id": "test", "object": "model"}]})
        else:
            self.answer(404, {"error": {"message": f"no such path: {self.path}"}})

    def do_POST(self):
        body = self.read_body()
        entry = {"method": "POST", "path": self.path, "contentType": self.headers.get("Content-Type"), "problems": []}
        if self.path != "/v1/audio/transcriptions":
            entry["problems"].append("unknown path")
            self.record(entry)
            self.answer(404, {"error": {"message": f"no such path: {self.path}"}})
            return
        try:
            parts = parse_multipart(entry["contentType"], body)
        except ValueError as error:
            entry["problems"].append(str(error))
            parts = {}
        entry["fields"] = {
            name: content.decode("utf-8", "replace") for name, (filename, _, content) in parts.items() if name != "file"
        }
        if "file" in parts:
            filename, file_type, content = parts["file"]
            entry["file"] = {"filename": filename, "contentType": file_type, **describe_wav(content)}
            if "problem" in entry["file"]:
                entry["problems"].append(entry["file"]["problem"])
        else:
            entry["problems"].append("no file part")
        expected = {"language": "en", "response_format": "json"}
        for name, value in expected.items():
            if entry["fields"].get(name) != value:
                entry["problems"].append(f"{name} is {entry['fields'].get(name)!r}, not {value!r}")
        if not entry["fields"].get("model"):
            entry["problems"].append("no model")
        entry["answer"] = "bad request" if entry["problems"] else self.mode()
        self.record(entry)
        if entry["problems"]:
            self.answer(400, {"error": {"message": "; ".join(entry["problems"])}})
        elif entry["answer"] == "garbage":
            self.answer(200, b"<html>not json", "text/html")
        elif entry["answer"] == "error":
            self.answer(500, {"error": {"message": "the stub was told to fail", "type": "server_error"}})
        else:
            self.answer(200, {"text": self.server.options.text})


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--text", required=True)
    parser.add_argument("--record", required=True)
    parser.add_argument("--port-file", required=True)
    parser.add_argument("--mode-file")
    options = parser.parse_args()
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.options = options
    partial = options.port_file + ".part"
    with open(partial, "w", encoding="utf-8") as out:
        out.write(str(server.server_address[1]))
    os.replace(partial, options.port_file)
    server.serve_forever()


if __name__ == "__main__":
    main()
