"""Starts kavo-host.exe of an unpacked package under Wine, holds a short session with it over
loopback and ends it as Ctrl+C does. Fails with what went wrong.

usage: try_package.py FOLDER
"""

import http.client
import json
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading

PATIENCE = 60  # seconds for each step, so that a busy machine fails nothing


def check(condition, message):
    if not condition:
        raise SystemExit("the package does not work: " + message)


def call(port, method, path, status=200, body=None):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
    connection.request(method, path, body)
    answer = connection.getresponse()
    data = answer.read()
    connection.close()
    check(answer.status == status, f"{method} {path} was answered {answer.status}: {data[:200]!r}")
    return json.loads(data) if data else None


def session(port, folder):
    health = call(port, "GET", "/health")
    check(health["status"] == "ok", f"its health is {health}")
    plugin = health["plugin"]["file"]
    check(folder.name in plugin and folder.parent.name in plugin,
          f"it took the module from {plugin}, not from {folder}")
    call(port, "PUT", "/context/package", 201, '{"name": "Müller"}'.encode())
    context = call(port, "GET", "/context/package")
    check(context.get("name") == "Müller", f"the context came back as {context}")


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    runner = pathlib.Path(__file__).with_name("run-in-wine").resolve()
    # Started from elsewhere: what it needs must be found beside the program.
    with tempfile.TemporaryDirectory() as elsewhere, tempfile.TemporaryFile() as log:
        host = subprocess.Popen(
            [runner, folder / "kavo-host.exe", "--listen", "127.0.0.1:0"], cwd=elsewhere,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=log)
        watchdog = threading.Timer(PATIENCE, host.kill)
        watchdog.start()
        try:
            line = host.stdout.readline().decode(errors="replace")
            ready = re.match(r"kavo-host ready: http://127\.0\.0\.1:(\d+)\s*$", line)
            if not ready:
                host.wait()
                log.seek(0)
                check(False, f"no ready line but {line!r}, exit status {host.returncode}\n"
                      + log.read().decode(errors="replace"))
            session(int(ready.group(1)), folder)
            host.send_signal(signal.SIGINT)
            check(host.wait() == 0, f"Ctrl+C ended it with exit status {host.returncode}")
        finally:
            watchdog.cancel()
            if host.poll() is None:
                host.kill()
                host.wait()
    print(f"it starts, serves and stops: {folder}")


if __name__ == "__main__":
    main()
