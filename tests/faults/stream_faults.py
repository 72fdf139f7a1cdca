#!/usr/bin/python3
"""What comes from the Agent comes in drops, in half messages, or in a flood.

    stream_faults.py BUILD_FOLDER [--long] [NAME...]

A relay stands between the extension and the sample Agent, which listens in a runtime folder of its
own.
"""
import os
import socket
import sys
import threading
import time

from driver import PATIENCE, SOCKET, main, wait_until

FILES = 300
NAMES = ["f%05d" % i for i in range(FILES)]


class Relay:
    """Hands bytes on both ways, those of the Agent in pieces of `size`.

    When `limit` of them have `passed`, the connection ends, `cut` counts it, and there is no limit.
    """

    def __init__(self, place, agent):
        self._agent = agent
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(place)
        os.chmod(place, 0o600)
        self._listener.listen()
        self.size = 65536
        self.limit = None  # bytes of the Agent after which a connection ends
        self.passed = 0
        self.cut = 0
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                extension = self._listener.accept()[0]
            except OSError:  # closed
                return
            agent = socket.socket(socket.AF_UNIX)
            try:
                agent.connect(self._agent)
            except OSError:
                extension.close()
                continue
            for pump in (self._from_extension, self._from_agent):
                threading.Thread(target=pump, args=(extension, agent), daemon=True).start()

    @staticmethod
    def _end(*ends):
        for end in ends:
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def _from_extension(self, extension, agent):
        try:
            while data := extension.recv(65536):
                agent.sendall(data)
        except OSError:
            pass
        self._end(extension, agent)

    def _from_agent(self, extension, agent):
        extension.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
        try:
            while data := agent.recv(65536):
                step = self.size
                for i in range(0, len(data), step):
                    if self.limit is not None and self.passed >= self.limit:
                        self.limit = None  # the next connection is a whole one
                        self.cut += 1
                        return
                    extension.sendall(data[i:i + step])
                    self.passed += len(data[i:i + step])
        except OSError:
            pass
        finally:
            self._end(extension, agent)

    def close(self):
        self._listener.close()


def start_with_relay(world):
    """The relay, in front of a sample Agent."""
    behind = os.path.join(world.session.folder, "behind")
    os.mkdir(behind, 0o700)
    world.start_bus()
    place = world.session.environment["XDG_RUNTIME_DIR"]
    world.session.environment["XDG_RUNTIME_DIR"] = behind
    world.start_agent([{"path": "drops/f00007", "lock": 1, "owner": "Eve"}])
    world.session.environment["XDG_RUNTIME_DIR"] = place
    return Relay(os.path.join(place, SOCKET), os.path.join(behind, SOCKET))


def bytes_one_at_a_time(world):
    drops, after = world.make("drops", FILES), world.make("after", FILES)
    relay = start_with_relay(world)
    client = world.connect()
    world.wait_watching(client)
    guard = world.guard()
    relay.size = 1
    begin = time.monotonic()
    passed = relay.passed
    wanted = {**dict.fromkeys(NAMES, "1"), "f00007": "3"}
    client.request(drops, NAMES)
    client.wait_badges(drops, wanted, PATIENCE)
    took = time.monotonic() - begin
    world.at_most("a list of %d bytes one by one: right badges in <= 2 s" % (relay.passed - passed),
                  2, took, "s")

    # A list is cut off at one place after the other.
    relay.size = 7
    cuts = 0
    for limit in range(1, 10000, 160 if world.long else 3000):
        wait_until(lambda: world.agent_output().count("sent event configuration_updated") > cuts,
                   PATIENCE, "a connection")
        relay.passed, relay.limit = 0, limit
        world.agent.command("list drops")
        cuts += 1
        wait_until(lambda: relay.cut >= cuts, PATIENCE, "a list cut off")
        wait_until(lambda: world.log().count("within a message") >= cuts, PATIENCE, "a log line")
    relay.size = 65536
    begin = time.monotonic()
    client.request(after, NAMES)
    client.wait_badges(after, dict.fromkeys(NAMES, "1"), PATIENCE)
    world.at_most("after %d messages cut off: right badges in <= 14 s" % cuts, 14,
                  time.monotonic() - begin, "s")
    guard.tell(memory=1)
    relay.close()


def flood(world):
    """Events of the items of a folder that is shown, each another lock."""
    events = 100_000 if world.long else 10_000
    folder = world.make("flood", FILES)
    world.start_bus()
    world.start_agent()
    client = world.connect()
    world.wait_watching(client)
    client.request(folder, NAMES)
    client.wait_badges(folder, dict.fromkeys(NAMES, "1"), PATIENCE)
    guard = world.guard("1" * FILES, folder)
    client.badge_signals.clear()
    begin = time.monotonic()
    final = {}
    lines = []
    for i in range(events):
        name, word = NAMES[i % FILES], ("lock", "unlock")[i // FILES % 2]
        lines.append("%s flood/%s\n" % (word, name))
        final[name] = {"lock": "4", "unlock": "1"}[word]
    feeding = threading.Thread(target=feed, args=(world.agent.process, "".join(lines).encode()))
    feeding.start()
    feeding.join()
    world.agent.command("deny flood/f00000")
    final["f00000"] = "6"
    client.wait_badges(folder, final, 2 * PATIENCE)
    seconds = time.monotonic() - begin
    world.tell("every badge is right in the end", "{:,} events in {:.0f} s".format(
        events + 1, seconds), "kept")
    world.within("at most 20 signals a second", 21, len(client.badge_signals) / seconds, "a second")
    guard.tell(8, "".join(final[name] for name in NAMES))


def feed(process, lines):
    process.stdin.write(lines)
    process.stdin.flush()


if __name__ == "__main__":
    sys.exit(main(__doc__, [("bytes one at a time, half messages", bytes_one_at_a_time),
                            ("a flood of events", flood)]))
