#!/usr/bin/env python3
"""Writes large simulated-host files of one shape each, just below the 16 MB
that the programs load, for measuring the memory a load takes:

  routers      one controller, a tree of as many routers as fit
  hops         a few routers whose adapters list as many path-space double
               words (hop entries) as fit
  nvm          one router with an NVM image given as one long hex string
  controllers  as many controllers, one host router each, as fit
  fabric       a tree of N routers (--routers, default 4000) with realistic
               spaces, for timing a capture

Usage: host_shapes.py SHAPE OUTPUT [--size BYTES] [--routers N]
Then: /usr/bin/time -v build/default/tbkit list --host=sim:OUTPUT
(or build/default/bench/host_load_bench OUTPUT...).
"""
import argparse
import json

LIMIT = 16 << 20


def routers_tree(budget, fanout=8, extra=None):
    """Routers breadth first: each hangs from adapters 2..fanout+1 of its parent."""
    routers, frontier, size = [], [(0, 0)], 2
    while frontier:
        route, depth = frontier.pop(0)
        r = {"route": hex(route)}
        if depth < 7:
            r["ports"] = {str(p): {} for p in range(2, 2 + fanout)}
        if extra:
            extra(r)
        text = len(json.dumps(r, separators=(",", ":"))) + 1
        if size + text > budget:
            break
        size += text
        routers.append(r)
        if depth < 7:
            for p in range(2, 2 + fanout):
                frontier.append((route | (p << (8 * depth)), depth + 1))
    # Drop the ports of routers whose children did not fit (keeps every hop valid).
    return routers


def shape_routers(budget):
    return {"controllers": [{"routers": routers_tree(budget - 64)}]}


def shape_hops(budget):
    """Host routers of one controller each, every adapter's path space full."""
    controllers, size = [], 64
    while size < budget - 64:
        ports = {}
        for port in range(1, 64):
            words = {}
            for index in range(8, 0x2000):
                entry = '"%s":"0x%08x",' % (hex(index), 0x80000000 | index)
                if size + len(entry) > budget - 64:
                    break
                size += len(entry)
                words[hex(index)] = "0x%08x" % (0x80000000 | index)
            ports[str(port)] = {"path-space": words}
            size += 24
        controllers.append({"routers": [{"route": "0x0", "ports": ports}]})
    return {"controllers": controllers}


def shape_nvm(budget):
    digits = (budget - 200) // 2 * 2
    return {"controllers": [{"routers": [{"route": "0x0", "nvm": {"size": "0x1000000",
                                                                    "bytes": {"0x0": "a5" * (digits // 2)}}}]}]}


def shape_controllers(budget):
    one = {"routers": [{"route": "0x0", "ports": {"1": {}}}]}
    each = len(json.dumps(one, separators=(",", ":"))) + 1
    return {"controllers": [one] * ((budget - 64) // each)}


def shape_fabric(count):
    """A tree of count routers, each with identity, router configuration and a
    few non-zero double words in every space of its adapters."""
    def fill(r):
        r["device-space"] = {"0x0": "0x15ef8086", "0x2": hex(int(r["route"], 16) & 0xffffffff), "0x10": "0x00060500"}
        for p in r.get("ports", {}):
            r["ports"][p] = {"port-space": {"0x0": "0x%08x" % int(p), "0x1": "0x00000001"},
                             "path-space": {"0x10": "0x80000001", "0x11": "0x00000010"},
                             "counter-space": {"0x0": "0x00000005"}}
    routers = []
    for r in routers_tree(1 << 40, fanout=4, extra=fill):
        routers.append(r)
        if len(routers) == count:
            break
    # A router whose children were cut keeps its adapters (they simply lead nowhere).
    return {"access-latency-us": 0, "controllers": [{"routers": routers}]}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("shape", choices=["routers", "hops", "nvm", "controllers", "fabric"])
    parser.add_argument("output")
    parser.add_argument("--size", type=int, default=LIMIT - 4096)
    parser.add_argument("--routers", type=int, default=4000)
    args = parser.parse_args()
    if args.shape == "fabric":
        doc = shape_fabric(args.routers)
    else:
        doc = globals()["shape_" + args.shape](args.size)
    text = json.dumps(doc, separators=(",", ":"))
    with open(args.output, "w") as out:
        out.write(text + "\n")
    print("%s: %d bytes" % (args.output, len(text) + 1))


if __name__ == "__main__":
    main()
