#!/usr/bin/env python3
"""Three whois servers of a referral chain, one address each, port 43: each answers every query
line after DELAY_MS with its answer and closes. The root and the registry point on with the two
forms both the window and the Debian whois client follow.
  chain_servers.py ROOT REGISTRY REGISTRAR DELAY_MS"""
import socket
import sys
import threading
import time

root, registry, registrar, delay = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4]) / 1000
answers = {
    root: f"% root server\n\nrefer:        {registry}\nReferralServer: whois://{registry}\n\ndomain:       TEST\n",
    registry: "   Domain Name: EXAMPLE.TEST\n   Registry Domain ID: 1_DOMAIN_TEST\n"
              f"   Registrar WHOIS Server: {registrar}\nReferralServer: whois://{registrar}\n",
    registrar: "Domain Name: EXAMPLE.TEST\nRegistrant Name: Registrar record of the lab\n",
}


def serve(address):
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind((address, 43))
    listener.listen(16)
    while True:
        client, _ = listener.accept()
        with client:
            client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            query = b""
            while not query.endswith(b"\n") and len(query) < 1024:
                piece = client.recv(1024)
                if not piece:
                    break
                query += piece
            time.sleep(delay)
            client.sendall(answers[address].encode())


for a in (root, registry, registrar):
    threading.Thread(target=serve, args=(a,), daemon=True).start()
print("ready", flush=True)
threading.Event().wait()
