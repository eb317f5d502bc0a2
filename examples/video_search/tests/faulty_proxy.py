#!/usr/bin/python3
"""A proxy that does what networks do: faulty_proxy.py PORT FAULT_FILE

Prints the port that it listens on at 127.0.0.1, and passes HTTP on to PORT there, request by request.
The file's text, read before each request, is the fault:

    pass       none
    slow X     each answer comes X seconds late
    lose N     the answers of the next N requests with more than 1000 bytes do not come: the server has
               done what it was told to
    html       another program answers, with a page that says that all is well
    nothing    another program answers, with nothing
    cut N      the next N requests with more than 1000 bytes reach the server in half
"""
import socket
import sys
import threading
import time


def read_message(stream):
    """A request or an answer as bytes, body and all; nothing at the end."""
    head = b""
    while not head.endswith(b"\r\n\r\n"):
        line = stream.readline()
        if not line:
            return b""
        head += line
    lower = head.lower()
    if b"transfer-encoding: chunked" in lower:
        body = b""
        while True:
            size = stream.readline()
            body += size
            length = int(size.split(b";")[0], 16)
            body += stream.read(length + 2)
            if length == 0:
                return head + body
    at = lower.find(b"content-length:")
    return head + (stream.read(int(lower[at + 15:].split(b"\r\n")[0])) if at >= 0 else b"")


class Faults:
    def __init__(self, path):
        self.path = path
        self.lock = threading.Lock()
        self.last = ""
        self.left = 0

    def next(self, size):
        """The kind of fault for a request of this size, and its seconds."""
        with self.lock:
            with open(self.path, encoding="ascii") as file:
                text = file.read().strip()
            kind, _, number = text.partition(" ")
            if kind in ("html", "nothing"):
                return kind, 0
            if kind == "slow":
                return kind, float(number)
            if text != self.last:
                self.last, self.left = text, int(number or 0)
            if kind == "pass" or size <= 1000 or self.left == 0:
                return "pass", 0
            self.left -= 1
            return kind, 0


def serve(client, port, faults):
    with client, socket.create_connection(("127.0.0.1", port)) as server:
        requests, answers = client.makefile("rb"), server.makefile("rb")
        while request := read_message(requests):
            kind, seconds = faults.next(len(request))
            if kind in ("html", "nothing"):
                page = b"<html><body>It works!</body></html>" if kind == "html" else b""
                client.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(page) + page)
                continue
            if kind == "cut":
                server.sendall(request[:len(request) // 2])
                return
            server.sendall(request)
            answer = read_message(answers)
            if kind == "lose" or not answer:
                return
            time.sleep(seconds)
            client.sendall(answer)


def guarded(*arguments):
    try:
        serve(*arguments)
    except OSError:
        pass  # one side has gone


def main():
    port, faults = int(sys.argv[1]), Faults(sys.argv[2])
    with socket.create_server(("127.0.0.1", 0)) as listener:
        print(listener.getsockname()[1], flush=True)
        while True:
            client, _ = listener.accept()
            threading.Thread(target=guarded, args=(client, port, faults), daemon=True).start()


main()
