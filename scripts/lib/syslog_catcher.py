#!/usr/bin/env python3
"""Usage: syslog_catcher.py SOCKET [COMMAND ARG...]

Binds a syslog socket at SOCKET (the /dev/log of a private /dev, see private-dev.sh) and prints each
record on stdout as it arrives, readable: the local time at which it was sent, the priority's level
by name, the facility and the text. With a COMMAND, runs it with its standard error sent through the
same socket, so that its lines and the records come out in the order in which they were written;
passes SIGINT and SIGTERM on to it and, once it has exited, prints what is left and exits with its
status. Without one, listens until it is killed."""
import os
import re
import selectors
import signal
import socket
import struct
import subprocess
import sys
import time

LEVELS = ('EMERG', 'ALERT', 'CRIT', 'ERROR', 'WARN', 'NOTICE', 'INFO', 'DEBUG')
# "<PRI>Mmm dd hh:mm:ss TAG: TEXT", as the C library's syslog() sends a record.
RECORD = re.compile(rb'<(\d{1,4})>(?:[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d )?(?:[^ :]+: )?(.*?)\n?', re.S)
LARGEST_DATAGRAM = 1 << 20
SO_TIMESTAMP = 29  # Linux's, which Python's socket module does not name


def readable(datagram, seconds, microseconds):
    record = RECORD.fullmatch(datagram)
    if not record:
        return datagram.rstrip(b'\n') + b'\n'
    priority = int(record[1])
    stamp = time.strftime('%Y-%m-%d %H:%M:%S', time.localtime(seconds)) + f'.{microseconds // 1000:03d}'
    return f'{stamp} {LEVELS[priority & 7]:<5} syslog fac={priority >> 3} '.encode() + record[2] + b'\n'


def show(records, command_stderr):
    datagram, ancillary, _, sender = records.recvmsg(LARGEST_DATAGRAM, socket.CMSG_SPACE(16))
    if sender and sender == command_stderr:
        sys.stdout.buffer.write(datagram)
    else:
        # The kernel's time of sending: the catcher may read a record after lines written after it.
        sent = struct.unpack('qq', ancillary[0][2]) if ancillary else divmod(time.time_ns() // 1000, 10**6)
        sys.stdout.buffer.write(readable(datagram, *sent))
    sys.stdout.buffer.flush()


def main():
    records = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    records.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMP, 1)
    records.bind(sys.argv[1])
    if len(sys.argv) == 2:
        while True:
            show(records, None)
    # An address of the kernel's choosing tells the command's lines from the records.
    stderr = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    stderr.bind('')
    stderr.connect(sys.argv[1])
    child = subprocess.Popen(sys.argv[2:], stderr=stderr)
    stderr_name = stderr.getsockname()
    stderr.close()
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda received, _: child.send_signal(received))
    waiting = selectors.DefaultSelector()
    waiting.register(records, selectors.EVENT_READ)
    waiting.register(os.pidfd_open(child.pid), selectors.EVENT_READ)
    while child.poll() is None:
        for key, _ in waiting.select():
            if key.fileobj is records:
                show(records, stderr_name)
    records.setblocking(False)
    try:
        while True:
            show(records, stderr_name)
    except BlockingIOError:
        pass
    return child.returncode if child.returncode >= 0 else 128 - child.returncode


if __name__ == '__main__':
    sys.exit(main())
