"""A loopback HTTP server serving one folder with single byte ranges, counting what it
sends; it can ignore ranges, cut files short, or never answer."""

import contextlib
import http.server
import os
import re
import socket
import threading

_RANGE = re.compile(r"bytes=(\d+)-(\d*)$")


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True  # headers and body go out at once, not 40 ms apart

    def log_message(self, *args):
        pass

    def do_HEAD(self):
        self._answer(head=True)

    def do_GET(self):
        self._answer(head=False)

    def _answer(self, head):
        server = self.server
        path = os.path.join(server.root, self.path.lstrip("/").split("?")[0])
        if not os.path.isfile(path):
            self.send_error(404)
            return
        size = os.path.getsize(path)
        first, last, status = 0, size - 1, 200
        match = _RANGE.match(self.headers.get("Range", ""))
        if match and not server.ignore_range:
            first, status = int(match.group(1)), 206
            last = min(int(match.group(2)) if match.group(2) else size - 1, size - 1)
        # Only the bytes asked for are read from disk.
        length = last + 1 - first if server.cut is None else min(last + 1 - first, server.cut)
        with open(path, "rb") as f:
            f.seek(first)
            body = b"" if head else f.read(length)
        self.send_response(status)
        self.send_header("Accept-Ranges", "none" if server.ignore_range else "bytes")
        if status == 206:
            self.send_header("Content-Range", f"bytes {first}-{last}/{size}")
        self.send_header("Content-Length", str(length))
        self.end_headers()
        if not head:
            # Counted before sending, so a client that has the bytes sees them counted.
            with server.lock:
                server.served[self.path] = server.served.get(self.path, 0) + len(body)
                server.requests.append((self.path, self.headers.get("Range")))
            self.wfile.write(body)


class RangeServer(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, root, ignore_range=False, cut=None):
        super().__init__(("127.0.0.1", 0), _Handler)
        self.root, self.ignore_range, self.cut = str(root), ignore_range, cut
        self.lock = threading.Lock()
        self.served, self.requests = {}, []

    def url(self, name):
        return f"http://127.0.0.1:{self.server_address[1]}/{name}"


@contextlib.contextmanager
def serving(root, **options):
    server = RangeServer(root, **options)
    thread = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True)
    thread.start()
    try:
        yield server
    finally:
        server.shutdown()
        server.server_close()
        thread.join(timeout=5)


@contextlib.contextmanager
def silent_port():
    """A port that accepts connections and never answers, for time-out tests."""
    with socket.socket() as sock:
        sock.bind(("127.0.0.1", 0))
        sock.listen(8)
        yield f"http://127.0.0.1:{sock.getsockname()[1]}/"
