#!/usr/bin/python3
"""The real program on a real accessibility bus, read as a screen reader reads it.

    a11y_bus.py PATHLARK_BINARY

Starts itself again inside Xvfb and a D-Bus session of its own with the accessibility bus,
runs the program with a whois query to a server of this script's on 127.0.0.1, and checks
through AT-SPI (pyatspi): the page names, the label of every box, read-only boxes that do not
also call themselves editable, the whole whois answer (a NUL in it included), the text box's
deletions carrying the text removed, the table's headers and cells after a ping driven through
AT-SPI, and never two "Results" showing at once. Exit status 0 passed, 1 failed, 77 skipped.
"""
import ctypes
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

SKIP = 77
ANSWER = b"Domain Name: EXAMPLE.TEST\r\nvisible\x00after the NUL\x1b[0m \xe2\x80\xae reversed?\nlast line\n"


def fail(why):
    print("FAIL:", why)
    sys.exit(1)


def outer():
    for tool in ("Xvfb", "dbus-run-session"):
        if not shutil.which(tool):
            print(f"SKIP: {tool} is not installed (packages xvfb, dbus)")
            sys.exit(SKIP)
    if not os.path.exists("/usr/libexec/at-spi-bus-launcher"):
        print("SKIP: the accessibility bus is not installed (package at-spi2-core)")
        sys.exit(SKIP)
    # An X server of our own on a free display, which it names once it takes connections (no race
    # with a display number in use), that never resets when its last client goes (a reset refuses
    # the next client for a moment), and that goes when this script goes, however it ends.
    ready, ready_w = os.pipe()
    libc = ctypes.CDLL(None, use_errno=True)
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(ready_w), "-screen", "0", "1024x768x24", "-nolisten", "tcp", "-noreset"],
                            pass_fds=(ready_w,), stderr=subprocess.DEVNULL,
                            preexec_fn=lambda: libc.prctl(1, signal.SIGTERM))   # PR_SET_PDEATHSIG
    os.close(ready_w)
    display = os.read(ready, 32).decode().strip()
    if not display:
        fail("Xvfb did not start")
    env = dict(os.environ, PATHLARK_A11Y_INNER="1", DISPLAY=":" + display)
    env.pop("QT_QPA_PLATFORM", None)   # a real X server, not offscreen
    try:
        status = subprocess.run(["dbus-run-session", "--", sys.executable] + sys.argv, env=env, timeout=150).returncode
    finally:
        xvfb.terminate()
        xvfb.wait()
    sys.exit(status)


def serve(server, queries):
    """Answers each query line with ANSWER and closes, as a whois server does."""
    while True:
        try:
            client, _ = server.accept()
        except OSError:
            return
        with client:
            data = b""
            while not data.endswith(b"\r\n"):
                chunk = client.recv(1024)
                if not chunk:
                    break
                data += chunk
            queries.append(data)
            client.sendall(ANSWER)


def pump(pyatspi, seconds):
    from gi.repository import GLib
    end = time.time() + seconds
    while time.time() < end:
        GLib.MainContext.default().iteration(False)
        time.sleep(0.01)


def inner(binary):
    try:
        import pyatspi
    except ImportError:
        print("SKIP: pyatspi is not installed (package python3-pyatspi)")
        sys.exit(SKIP)
    # In a process group of its own, quiet: its bus and registry daemons go with it at the end,
    # and none of them holds this test's output open.
    launcher = subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"], start_new_session=True,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    server = socket.socket()
    server.bind(("127.0.0.1", 0))
    server.listen()
    queries = []
    threading.Thread(target=serve, args=(server, queries), daemon=True).start()
    time.sleep(1)
    env = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_ACCESSIBILITY="1")
    program = subprocess.Popen([binary, "--whois", "example.test", "--server", "127.0.0.1", "--port",
                                str(server.getsockname()[1])], env=env)
    try:
        check(pyatspi, program, queries)
    finally:
        program.kill()
        os.killpg(launcher.pid, 9)
        server.close()
    print("PASS")


def nodes(root):
    """Every accessible below `root`, depth first."""
    stack = [root]
    while stack:
        node = stack.pop()
        if node is None:
            continue
        yield node
        stack.extend(reversed([child for child in node]))


def showing(node):
    import pyatspi
    return node.getState().contains(pyatspi.STATE_SHOWING)


def check(pyatspi, program, queries):
    app = None
    deadline = time.time() + 30
    while app is None and time.time() < deadline:
        app = next((a for a in pyatspi.Registry.getDesktop(0) if a is not None and a.name == "Pathlark"), None)
        time.sleep(0.2)
    if app is None:
        fail("the program never appeared on the accessibility bus")
    pump(pyatspi, 1)
    everything = list(nodes(app))
    if any(n.getRoleName() == "dialog" for n in everything):
        print("SKIP: this machine has no network address other than the loopback address")
        sys.exit(SKIP)

    tabs = [n.name.strip() for n in everything if n.getRoleName() == "page tab"]
    if tabs != ["Ping", "Traceroute", "DNS Lookup", "Whois"]:
        fail(f"page names {tabs}")
    boxes = [n for n in everything if n.getRoleName() == "text"]
    labels = {"This Computer's IP number:", "Remote Host: http://", "Domain Name to Lookup:", "WhoIs Server to Query",
              "Port Number WhoIs Server Is Listening On:", "Results", "Lookup completion"}
    if sorted({b.name for b in boxes}) != sorted(labels):
        fail(f"box names {sorted(b.name for b in boxes)}")
    for box in boxes:
        states = box.getState()
        if box.name == "This Computer's IP number:" and (states.contains(pyatspi.STATE_EDITABLE)
                                                          or not states.contains(pyatspi.STATE_READ_ONLY)):
            fail("a read-only box is reported editable")
    if any(showing(b) for b in boxes if b.name == "Lookup completion"):
        fail("the hidden completion box is reported showing")

    answer_box = next(b for b in boxes if b.name == "Results")
    table = next(n for n in everything if n.getRoleName() in ("tree", "table", "tree table") and n.name == "Results")
    deadline = time.time() + 20
    text = ""
    while "last line" not in text and time.time() < deadline:
        pump(pyatspi, 0.2)
        text = answer_box.queryText().getText(0, -1)
    for piece in ("Domain Name: EXAMPLE.TEST", "visible\u2400after the NUL", "\u241b[0m", "\ufffd reversed?", "last line"):
        if piece not in text:
            fail(f"the answer as read misses {piece!r}: {text!r}")
    if not showing(answer_box) or showing(table):
        fail("with the answer shown, the table behind it is reported showing too")

    # A second query empties the box first: its deletion must carry the text removed.
    deleted = []
    listener = lambda event: deleted.append(event.any_data) if event.source == answer_box else None
    pyatspi.Registry.registerEventListener(listener, "object:text-changed:delete")
    button = next(n for n in everything if n.getRoleName() == "push button" and n.name == "Do Query")
    button.queryAction().doAction(0)
    deadline = time.time() + 20
    while len(queries) < 2 and time.time() < deadline:
        pump(pyatspi, 0.2)
    pump(pyatspi, 1)
    pyatspi.Registry.deregisterEventListener(listener, "object:text-changed:delete")
    if not deleted or any(not d or not d.strip() for d in deleted):
        fail(f"deletions carried {deleted!r}")

    # Ping the loopback address through the screen reader's own interfaces: the table shows.
    next(n for n in everything if n.getRoleName() == "page tab" and n.name.strip() == "Ping").queryAction().doAction(0)
    pump(pyatspi, 0.5)
    host = next(b for b in boxes if b.name == "Remote Host: http://" and showing(b))
    host.queryEditableText().setTextContents("127.0.0.1")
    next(n for n in nodes(app) if n.getRoleName() == "push button" and n.name == "Ping" and showing(n)).queryAction().doAction(0)
    deadline = time.time() + 20
    cells = []
    while len(cells) < 12 and time.time() < deadline:
        pump(pyatspi, 0.3)
        cells = [c.name for c in table if c.getRoleName() in ("table cell", "tree item")]
    headers = [c.name for c in table if c.getRoleName() == "table column header"]
    if headers != ["Hop", "Destination IP", "Dest. Domain Name", "Trip Time", "Bytes", "TTL"]:
        fail(f"table headers {headers}")
    if len(cells) < 12 or cells[0] not in ("--", "Error"):
        fail(f"table cells {cells[:12]}")
    if not showing(table) or showing(answer_box):
        fail("with the table shown, the text box is reported showing too")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        print(__doc__)
        sys.exit(2)
    if os.environ.get("PATHLARK_A11Y_INNER"):
        inner(os.path.abspath(sys.argv[1]))
    else:
        outer()
