#!/usr/bin/env python3
"""A hostile peer for the lab's path topology, run inside NAME-r1:

    ip netns exec NAME-r1 python3 lab/forger.py --duration SECONDS

For every echo request from the host to 198.19.66.66 or 2001:db8:66::66 (r1 drops those) it
sends the host four answers, each with correct lengths and checksums:
  1. at once, an echo reply from a foreign source (198.18.9.9 / 2001:db8:9::9);
  2. at once, a time exceeded from r1 quoting the request with its destination changed to
     198.19.65.65 / 2001:db8:65::65;
  3. at once, a "fragmentation needed" / "packet too big" from r1 quoting the request as it
     was, claiming an MTU of 1500, which the small request fits;
  4. 2500 ms later, an echo reply from the real destination (a late answer).
Frames go straight onto r1's link toward the host (AF_PACKET), so no routing or netfilter in r1
gets a say. Prints "ready" once listening and one line per forged packet.
"""
import argparse
import heapq
import itertools
import os
import select
import socket
import struct
import time

ETH_P_ALL, ETH_P_IP, ETH_P_IPV6 = 0x0003, 0x0800, 0x86DD
PACKET_OUTGOING = 4
LATE_S = 2.5
MTU = 1500  # what the forged "too big" errors claim

V4 = dict(watched="198.19.66.66", foreign="198.18.9.9", router="198.18.1.1", quoted="198.19.65.65")
V6 = dict(watched="2001:db8:66::66", foreign="2001:db8:9::9", router="2001:db8:1::1", quoted="2001:db8:65::65")


def checksum(data):
    if len(data) % 2:
        data += b"\0"
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def with_checksum(message, at, pseudo=b""):
    message = bytearray(message)
    message[at:at + 2] = b"\0\0"
    message[at:at + 2] = struct.pack("!H", checksum(pseudo + bytes(message)))
    return bytes(message)


def ipv4(src, dst, payload):
    header = struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(payload), int.from_bytes(os.urandom(2), "big"),
                         0, 64, socket.IPPROTO_ICMP, 0, socket.inet_aton(src), socket.inet_aton(dst))
    return with_checksum(header, 10) + payload


def icmp4(kind, code, rest, body):
    return with_checksum(struct.pack("!BBH", kind, code, 0) + rest + body, 2)


def ipv6(src, dst, payload):
    s, d = socket.inet_pton(socket.AF_INET6, src), socket.inet_pton(socket.AF_INET6, dst)
    return struct.pack("!IHBB", 6 << 28, len(payload), socket.IPPROTO_ICMPV6, 64) + s + d + payload


def icmp6(src, dst, kind, code, rest, body):
    message = struct.pack("!BBH", kind, code, 0) + rest + body
    pseudo = (socket.inet_pton(socket.AF_INET6, src) + socket.inet_pton(socket.AF_INET6, dst)
              + struct.pack("!I3xB", len(message), socket.IPPROTO_ICMPV6))
    return with_checksum(message, 2, pseudo)


def forge_v4(packet):
    """The three answers to an IPv4 echo request to the watched address, or None."""
    if len(packet) < 20 or packet[0] >> 4 != 4:
        return None
    ihl, total = (packet[0] & 0x0F) * 4, struct.unpack("!H", packet[2:4])[0]
    if ihl < 20 or total < ihl + 8 or total > len(packet) or packet[9] != socket.IPPROTO_ICMP:
        return None
    if socket.inet_ntoa(packet[16:20]) != V4["watched"] or packet[ihl] != 8 or packet[ihl + 1] != 0:
        return None
    host, echo = socket.inet_ntoa(packet[12:16]), packet[ihl + 4:total]  # identifier, sequence, data
    quote = bytearray(packet[:min(total, 548)])  # what fits a 576-byte answer (RFC 1812 4.3.2.3)
    quote[16:20] = socket.inet_aton(V4["quoted"])
    quote = with_checksum(bytes(quote[:ihl]), 10) + bytes(quote[ihl:])
    return ("v4", struct.unpack("!HH", echo[:4]),
            [ipv4(V4["foreign"], host, icmp4(0, 0, b"", echo)),
             ipv4(V4["router"], host, icmp4(11, 0, b"\0\0\0\0", quote)),
             ipv4(V4["router"], host, icmp4(3, 4, struct.pack("!HH", 0, MTU), packet[:min(total, 548)]))],
            ipv4(V4["watched"], host, icmp4(0, 0, b"", echo)))


def forge_v6(packet):
    """The three answers to an IPv6 echo request to the watched address, or None."""
    if len(packet) < 48 or packet[0] >> 4 != 6 or packet[6] != socket.IPPROTO_ICMPV6:
        return None
    total = 40 + struct.unpack("!H", packet[4:6])[0]
    dst = socket.inet_ntop(socket.AF_INET6, packet[24:40])
    if total > len(packet) or dst != V6["watched"] or packet[40] != 128 or packet[41] != 0:
        return None
    host, echo = socket.inet_ntop(socket.AF_INET6, packet[8:24]), packet[44:total]
    quote = bytearray(packet[:min(total, 1232)])  # what fits the minimum MTU (RFC 4443 3.3)
    quote[24:40] = socket.inet_pton(socket.AF_INET6, V6["quoted"])

    def from_(src, kind, rest, body):
        return ipv6(src, host, icmp6(src, host, kind, 0, rest, body))

    return ("v6", struct.unpack("!HH", echo[:4]),
            [from_(V6["foreign"], 129, b"", echo), from_(V6["router"], 3, b"\0\0\0\0", bytes(quote)),
             from_(V6["router"], 2, struct.pack("!I", MTU), packet[:min(total, 1232)])],
            from_(V6["watched"], 129, b"", echo))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--duration", type=float, required=True, help="seconds to run (at most 3600)")
    parser.add_argument("--interface", default="tonear", help="r1's link toward the host")
    args = parser.parse_args()
    deadline = time.monotonic() + min(max(args.duration, 0.0), 3600.0)

    sock = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ALL))
    sock.bind((args.interface, 0))
    print("ready", flush=True)
    late, order = [], itertools.count()  # heap of (due, tie-break, frame, note)
    while True:
        now = time.monotonic()
        while late and late[0][0] <= now:
            _, _, frame, note = heapq.heappop(late)
            sock.send(frame)
            print(note, flush=True)
        if now >= deadline:
            break
        wait = (min(deadline, late[0][0]) if late else deadline) - now
        if not select.select([sock], [], [], wait)[0]:
            continue
        data, address = sock.recvfrom(65535)
        if address[2] == PACKET_OUTGOING or len(data) < 14:
            continue
        kind = struct.unpack("!H", data[12:14])[0]
        forged = forge_v4(data[14:]) if kind == ETH_P_IP else forge_v6(data[14:]) if kind == ETH_P_IPV6 else None
        if not forged:
            continue
        family, (ident, seq), at_once, later = forged
        # Back to the sender's hardware address, from the one it sent to.
        ethernet = data[6:12] + data[0:6] + data[12:14]
        for packet, what in zip(at_once, ("foreign echo reply", "time exceeded, foreign quote", "too big, MTU 1500")):
            sock.send(ethernet + packet)
            print(f"{family} id={ident} seq={seq}: {what}", flush=True)
        heapq.heappush(late, (time.monotonic() + LATE_S, next(order), ethernet + later,
                              f"{family} id={ident} seq={seq}: late echo reply"))


if __name__ == "__main__":
    main()
