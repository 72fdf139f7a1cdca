#!/usr/bin/python3
"""Another user of the machine, where extension and Agent meet: refused, and the log says why.

    other_user_test.py BUILD_FOLDER [unittest arguments]

Only root can be somebody else; for others there is nothing to see.
"""
import os
import re
import subprocess
import sys
import unittest

from bus_client import NAME, BusClient
from desktop_session import PrivateSession, SessionError, wait_until
from sample_agent import SampleAgent

BUILD = None
SOCKET = "com.kelvo.vip.kelvoFinderSync"
PATIENCE = 30  # seconds; the extension looks for its Agent every five
SKIPPED = 77  # as CTest is told
USER = 54321
AS_OTHER = ["setpriv", "--reuid=%d" % USER, "--regid=%d" % USER, "--clear-groups"]
# Tells of every byte that it is given.
LISTEN = """
import signal, socket, sys
signal.alarm(300)  # nobody's death ends who has changed users
listener = socket.socket(socket.AF_UNIX)
listener.bind(sys.argv[1])
listener.listen()
print("other: listening", flush=True)
while True:
    print("other: got", listener.accept()[0].recv(1), flush=True)
"""
# As an extension would open the channel; answers with what the Agent says to that.
CONNECT = """
import socket, sys
connection = socket.socket(socket.AF_UNIX)
connection.connect(sys.argv[1])
try:
    connection.sendall(b"\\0\\0\\0\\0\\0\\0\\0\\2\\0\\0\\0\\x08init_com\\0\\0\\0\\0")
except BrokenPipeError:
    pass
try:
    print(connection.recv(1))
except ConnectionResetError:
    print(b"")
"""


def as_other(script, *arguments):
    return AS_OTHER + ["/usr/bin/python3", "-c", script] + list(arguments)


class OtherUserTest(unittest.TestCase):
    def setUp(self):
        self.addCleanup(os.umask, os.umask(0))  # which protects nothing
        self.session = PrivateSession()
        self.addCleanup(self.session.close)
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})
        self.runtime = self.session.runtime
        self.rendezvous = os.path.join(self.runtime, SOCKET)
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        with open(os.path.join(self.work, "a"), "w", encoding="utf-8"):
            pass
        # What is the other user's lies in a folder that both can reach.
        os.chmod(self.session.folder, 0o711)
        self.theirs = os.path.join(self.session.folder, "theirs")
        os.mkdir(self.theirs)
        os.chown(self.theirs, USER, USER)

    def start_agent(self):
        agent = SampleAgent(self.session, BUILD + "/bin/kelvo-sample-agent", self.work)
        wait_until(lambda: "listening at" in self.printed(), PATIENCE, "the Agent")
        return agent

    def printed(self):
        return self.session.output("kelvo-sample-agent")

    def check_agent_declines(self, reason):
        before = len(self.printed())
        agent = SampleAgent(self.session, BUILD + "/bin/kelvo-sample-agent", self.work)
        self.assertEqual(agent.process.wait(PATIENCE), 1)
        self.assertIn(reason, self.printed()[before:])
        self.session.end(agent.process)

    def check_refused(self, reason):
        """A new extension finds nobody to talk to, and says why."""
        log = os.path.join(self.session.home, "Library/Logs/KelvoAgentPlugin.log")
        if os.path.exists(log):
            os.unlink(log)
        client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(client.close)
        self.assertFalse(client.get("AgentConnected").get_boolean())
        text = self.session.extension_log
        wait_until(lambda: "no connection to the Agent: " in text(), PATIENCE, "a refusal")
        self.assertRegex(text(), "no connection to the Agent: .*" + re.escape(reason) + "\n")
        return client

    def end_extension(self):
        process = self.session.owner_process(NAME)
        os.kill(process, 9)
        wait_until(lambda: self.session.owner_process(NAME) is None, PATIENCE, "its end")

    def test_extension_and_agent_touch_nothing_of_another_users(self):
        place = os.path.join(self.theirs, "socket")
        self.session.spawn(as_other(LISTEN, place))
        wait_until(lambda: "listening" in self.session.output("setpriv"), PATIENCE, "their socket")

        os.symlink(place, self.rendezvous)
        self.check_refused(SOCKET + " is a link, which is not followed")
        self.check_agent_declines("is not a socket of this user")
        self.end_extension()

        os.replace(place, self.rendezvous)
        self.check_refused(SOCKET + " is another user's socket")
        self.check_agent_declines("is not a socket of this user")
        self.end_extension()

        # Even where the file is the user's own, it matters who listens.
        self.assertNotIn("got", self.session.output("setpriv"), "so far nobody connected")
        os.chown(self.rendezvous, 0, 0)
        self.check_refused("another user's process listens on " + self.rendezvous)
        wait_until(lambda: "got" in self.session.output("setpriv"), PATIENCE, "its hanging up")
        self.assertNotIn("got b'\\x", self.session.output("setpriv"), "not one byte is sent")
        self.end_extension()
        os.unlink(self.rendezvous)

        # The right Agent, but where others could take its place.
        self.start_agent()
        os.chown(self.runtime, USER, USER)
        self.check_refused("the runtime folder " + self.runtime + " is another user's")
        self.end_extension()
        os.chown(self.runtime, 0, 0)
        os.chmod(self.runtime, 0o711)
        client = self.check_refused("the runtime folder " + self.runtime + " is open to other users")
        self.assertNotIn("from process", self.printed())
        os.chmod(self.runtime, 0o700)
        wait_until(lambda: client.directories() == [self.work], PATIENCE, "the right Agent")
        client.request(self.work, ["a"])
        client.wait_badges(self.work, {"a": "1"})
        self.check_nobody_can_connect_to(self.session.owner_process(NAME))
        self.end_extension()
        self.check_files()

    def check_files(self):
        """What extension and Agent have made is the user's alone; the log is for who helps, too."""
        for place, folders, files in os.walk(os.path.join(self.session.home, "Library")):
            for name in folders + files:
                mode = os.stat(os.path.join(place, name)).st_mode & 0o777
                wanted = 0o700 if name in folders else 0o644 if name.endswith(".log") else 0o600
                self.assertEqual(oct(mode), oct(wanted), os.path.join(place, name))

    def check_nobody_can_connect_to(self, process):
        folder = "/proc/%d/fd" % process
        links = [os.readlink(os.path.join(folder, name)) for name in os.listdir(folder)]
        own = {link[8:-1] for link in links if link.startswith("socket:[")}
        self.assertTrue(own)
        with open("/proc/%d/net/unix" % process, encoding="utf-8") as file:
            rows = [line.split() for line in file.readlines()[1:]]
        accepts = "00010000"
        self.assertTrue([row for row in rows if row[3] == accepts], "that of the Agent, at least")
        self.assertEqual([row for row in rows if row[6] in own and row[3] == accepts], [])
        for table in ("tcp", "tcp6", "udp", "udp6"):
            table = "/proc/%d/net/%s" % (process, table)
            if not os.path.exists(table):  # as where there is no IPv6
                continue
            with open(table, encoding="ascii") as file:
                inodes = {line.split()[9] for line in file.readlines()[1:]}
            self.assertEqual(inodes & own, set(), "it is nowhere on the network")

    def test_nobody_else_is_let_in(self):
        self.check_runtime_folder_of_the_agent()
        agent = self.start_agent()
        # Every door that the user has may have been left open.
        os.chmod(self.runtime, 0o711)
        os.chmod(self.rendezvous, 0o666)
        descriptors = "/proc/%d/fd" % agent.process.pid
        before = len(os.listdir(descriptors))
        for _ in range(20):
            self.assertEqual(self.session.run(as_other(CONNECT, self.rendezvous)), b"b''\n")
        self.assertEqual(self.printed().count("refused a connection from another user\n"), 20)
        self.assertNotIn("received", self.printed())
        self.assertEqual(len(os.listdir(descriptors)), before)

        ask = ["dbus-send", "--print-reply", "--dest=" + NAME, "/com/kelvo/FinderSync",
               "org.freedesktop.DBus.Peer.Ping"]
        self.assertTrue(self.session.run(ask))
        with self.assertRaisesRegex(SessionError, "Failed to open connection"):
            self.session.run(AS_OTHER + ask)

    def check_runtime_folder_of_the_agent(self):
        os.chown(self.runtime, USER, USER)
        self.check_agent_declines("must be the user's own, without access for others")
        os.chown(self.runtime, 0, 0)


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    if os.geteuid() != 0 or subprocess.run(AS_OTHER + ["true"], check=False).returncode:
        print("SKIPPED: only root can be another user here")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)
