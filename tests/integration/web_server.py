#!/usr/bin/python3
"""An HTTPS server whose certificate, made for each run, nobody has signed and is another host's.

    web_server.py PROGRAM [ARGUMENT]...

runs the program with the server's address in KELVO_WEB_SERVER, and ends with its status.
"""
import http.server
import os
import re
import shutil
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True

    def do_GET(self):
        self.server.owner.requests.append(self.path)
        path, _, query = self.path.partition("?")
        getattr(self, "get_" + path.strip("/").lower(), self.get_nothing)(query)

    def answer(self, body=b"", status=200, **headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def wait_for_end(self):
        """Until the client has left."""
        while self.connection.recv(1):
            pass
        self.server.owner.requests.append("left " + self.path)

    def get_nothing(self, query):
        self.answer(b"nothing", 404)

    def get_kelvowebapi(self, query):
        command = urllib.parse.parse_qs(query)["command"][0]
        status, body = self.server.owner.answers[command]
        self.answer(body, status)

    def get_echo(self, query):
        self.answer(self.path.encode())

    def get_broken(self, query):
        self.answer(b"broken", 500)

    def get_large(self, query):
        self.answer(b"x" * (int(query) << 20))

    def get_hops(self, query):
        """So many redirects, each by a relative address, and after a while if one is given."""
        left, _, pause = query.partition(",")
        time.sleep(float(pause or 0))
        if left == "0":
            return self.answer(b"arrived")
        self.answer(b"moved", 302, Location="?%d,%s" % (int(left) - 1, pause))

    def get_to(self, query):
        self.answer(b"moved", 301, Location=query)

    def get_left(self, query):
        """Once a client has left that request."""
        while "left " + query not in self.server.owner.requests:
            time.sleep(0.01)
        self.server.owner.requests.remove("left " + query)
        self.answer(b"left")

    def get_silent(self, query):
        self.wait_for_end()

    def get_slow(self, query):
        self.send_response(200)
        self.send_header("Content-Length", "100")
        self.end_headers()
        self.wfile.write(b"part")
        self.wait_for_end()

    def log_message(self, *unused):
        pass


class WebServer:
    """Listens on localhost. `requests`: paths with their queries; "left " and one of them for a
    client that would not wait. `answers`: status and body for each command of the web API.
    """

    def __init__(self):
        self.requests = []
        self.answers = {}
        self._server = http.server.ThreadingHTTPServer(("localhost", 0), Handler)
        self._server.owner = self
        self._server.handle_error = lambda *unused: None  # clients that leave
        self._server.socket = self._certificate().wrap_socket(
            self._server.socket, server_side=True, do_handshake_on_connect=False)
        self.name = "localhost:%d" % self._server.server_port
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    @staticmethod
    def _certificate():
        folder = tempfile.mkdtemp(prefix="kelvo-certificate-")
        key, certificate = os.path.join(folder, "key"), os.path.join(folder, "certificate")
        try:
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                            "-subj", "/CN=elsewhere.example", "-keyout", key, "-out", certificate],
                           check=True, capture_output=True)
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(certificate, key)
            return context
        finally:
            shutil.rmtree(folder)

    def close(self):
        self._server.shutdown()
        self._server.server_close()


if __name__ == "__main__":
    server = WebServer()
    sys.exit(subprocess.run(sys.argv[1:], check=False,
                            env={**os.environ, "KELVO_WEB_SERVER": server.name}).returncode)
