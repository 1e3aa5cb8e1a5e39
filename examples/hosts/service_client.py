#!/usr/bin/env python3
"""A client of "facefeature serve": the score of two photographs.

    examples/hosts/service_client.py SOCKET PHOTO LANDMARKS PHOTO LANDMARKS
"""

import json
import socket
import struct
import sys


class Service:
    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)
        self.stream = self.socket.makefile("rb")

    def ask(self, header, body=b""):
        text = json.dumps(header).encode()
        self.socket.sendall(struct.pack("<II", len(text), len(body)) + text + body)
        prefix = self.stream.read(8)
        if len(prefix) < 8:
            raise ConnectionError("the service has closed the connection")
        header_length, body_length = struct.unpack("<II", prefix)
        reply = json.loads(self.stream.read(header_length))
        body = self.stream.read(body_length)
        if not reply["ok"]:
            raise RuntimeError(f"{reply['error']}: {reply['message']}")
        return reply, body

    def extract(self, photo, landmarks):
        with open(photo, "rb") as picture, open(landmarks, encoding="utf-8") as points:
            header = {"request": "extract", "landmarks": json.load(points)["landmarks"]}
            return self.ask(header, picture.read())[1]

    def compare(self, a, b):
        return self.ask({"request": "compare"}, a + b)[0]["score"]


if __name__ == "__main__":
    service = Service(sys.argv[1])
    print(service.compare(service.extract(*sys.argv[2:4]), service.extract(*sys.argv[4:6])))
