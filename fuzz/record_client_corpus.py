#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Records what a client receives from the real relay in a few short games, as
seeds for the client's fuzz target: fuzz/record_client_corpus.py build/vorlen-server
An empty line ends each burst of lines that came together: the target lets the
game's time pass there. A second one marks where the user pressed Respawn."""
import pathlib
import socket
import subprocess
import sys
import time

PORT = 7391
OUT = pathlib.Path(__file__).parent / "corpus" / "client"


PLAYERS = []


class Player:
    def __init__(self):
        PLAYERS.append(self)
        self.sock = socket.create_connection(("127.0.0.1", PORT))
        self.sock.settimeout(0.05)
        self.seen = b""
        self.id = int(self.wait(b"0x").split(b";")[0][2:])

    def read(self):
        try:
            while chunk := self.sock.recv(65536):
                self.seen += chunk
        except (socket.timeout, OSError):
            pass

    def pause(self):
        self.read()
        if self.seen.endswith(b"\n") and not self.seen.endswith(b"\n\n"):
            self.seen += b"\n"

    def wait(self, prefix):
        while True:
            self.read()
            for line in self.seen.split(b"\n")[:-1]:
                if line.startswith(prefix):
                    return line

    def send(self, *lines):
        for line in lines:
            self.sock.sendall(line.replace(b"ID", str(self.id).encode()) + b"\n")
        time.sleep(0.05)
        for player in PLAYERS:
            player.pause()

    def respawn(self):
        self.pause()
        self.seen += b"\n"
        mark = len(self.seen)
        self.send(b"rx-1;0;0")
        while b"\n0x" not in self.seen[mark - 1:]:
            self.read()
        self.id = int(self.seen[mark:].split(b"0x", 1)[1].split(b";")[0])


def game(name, play):
    me, other = Player(), Player()
    for player in (me, other):
        player.send(b"6xID;1;5", b"6xID;2;5")
    play(me, other)
    me.read()
    (OUT / name).write_bytes(me.seen)
    for player in (me, other):
        player.sock.close()
    PLAYERS.clear()
    time.sleep(0.1)


def meeting(me, other):
    other.send(b"2xID;600;150", b"9xID;120;80")
    me.send(b"2xID;-300.5;1.23457e+06", b"9xID;-12;7")


def armed(me, other):
    other.send(b"4xID;2;0", b"4xID;2;1", b"3xID;100;100", b"4xID;3;1", b"3xID;-50;400")
    me.send(b"4xID;1;0", b"4xID;1;1", b"3xID;500;100", b"4xID;1;0", b"3xID;500;100")


def fight(me, other):
    other.send(b"4xID;1;1", b"3xID;150;150")
    me.send(b"7xID;20;0", b"7xID;20;0", b"7xID;60;0", b"5xID;0;0")
    me.respawn()
    other.send(b"7xID;55;0", b"5xID;0;0")
    other.respawn()
    other.send(b"6xID;1;5", b"6xID;2;5", b"2xID;300;300")


def crowd(me, other):
    third = Player()
    third.send(b"6xID;1;9", b"6xID;2;2", b"4xID;3;1", b"3xID;100;120")
    third.sock.close()
    PLAYERS.remove(third)
    other.send(b"2xID;100;100")


relay = subprocess.Popen([sys.argv[1], "--port", str(PORT)], stderr=subprocess.DEVNULL)
try:
    time.sleep(0.5)
    OUT.mkdir(parents=True, exist_ok=True)
    for name, play in (("meeting", meeting), ("armed", armed), ("fight", fight), ("crowd", crowd)):
        game(name, play)
finally:
    relay.terminate()
