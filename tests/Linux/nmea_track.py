#!/usr/bin/python3
"""A satellite receiver that moves along a track: NMEA 0183 to any number of clients.

usage: nmea_track.py unix:PATH|tcp:PORT TRACK [HZ]

TRACK is a text file with one report in a line: "LATITUDE LONGITUDE [HDOP]", or "none" while there
is no fix. A client gets one line of it per report, HZ reports a second (default 1); the last line
is repeated. All clients are at the same place. When the file is replaced the track starts over
with its first line. The file TRACK.ready says that clients may connect.
"""
import os
import socket
import sys
import threading
import time


def sentence(body):
    check = 0
    for character in body:
        check ^= ord(character)
    return "$%s*%02X\r\n" % (body, check)


def angle(value, width, signs):
    degrees, part = divmod(abs(value), 1)
    return "%0*d%07.4f,%s" % (width, degrees, part * 60, signs[value < 0])


def report(line):
    now = time.gmtime()
    clock, date = time.strftime("%H%M%S.00", now), time.strftime("%d%m%y", now)
    fields = line.split()
    if not fields or fields[0] == "none":
        return sentence("GPGGA,%s,,,,,0,00,,,M,,M,," % clock) + sentence(
            "GPRMC,%s,V,,,,,,,%s,,,N" % (clock, date))
    place = angle(float(fields[0]), 2, "NS") + "," + angle(float(fields[1]), 3, "EW")
    hdop = float(fields[2]) if len(fields) > 2 else 0.9
    return (sentence("GPGGA,%s,%s,1,08,%.1f,120.0,M,47.0,M,," % (clock, place, hdop)) +
            sentence("GPRMC,%s,A,%s,2.7,90.0,%s,,,A" % (clock, place, date)) +
            sentence("GPGSA,A,3,01,02,03,04,05,06,07,08,,,,,1.6,%.1f,1.3" % hdop))


class Track:
    def __init__(self, path, period):
        self.path, self.period = path, period
        self.stamp, self.lines, self.start = None, ["none"], 0

    def now(self):
        stamp = os.stat(self.path)
        if (stamp.st_ino, stamp.st_mtime_ns) != self.stamp:
            with open(self.path) as file:
                self.lines = file.read().splitlines() or ["none"]
            self.stamp, self.start = (stamp.st_ino, stamp.st_mtime_ns), time.monotonic()
        step = int((time.monotonic() - self.start) / self.period + 0.5)
        return self.lines[min(step, len(self.lines) - 1)]


def serve(client, track):
    try:
        while True:
            client.sendall(report(track.now()).encode())
            time.sleep(track.period)
    except OSError:
        client.close()


kind, where = sys.argv[1].split(":", 1)
track = Track(sys.argv[2], 1 / float(sys.argv[3] if len(sys.argv) > 3 else 1))
server = socket.socket(socket.AF_UNIX if kind == "unix" else socket.AF_INET)
if kind == "tcp":
    server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
server.bind(where if kind == "unix" else ("127.0.0.1", int(where)))
server.listen(8)
open(sys.argv[2] + ".ready", "w").close()
while True:
    threading.Thread(target=serve, args=(server.accept()[0], track), daemon=True).start()
