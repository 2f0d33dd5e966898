#!/usr/bin/env python3
"""What a fleet of clients asks of a service that goes away for an hour and comes back.

usage: fleet.py plot FOLDER        simulates 10,000 clients and writes fleet-*.svg there, and a table
       fleet.py verify BINARIES    compares one simulated call with calls of 20 real clients (zorfp against
                                   zorfp-sandbox), route by route; status 1 when they differ

Time is simulated, in seconds. A client is its fingerprint's end, the time of its host's next call and what its
process has learned from HTTPDNS. The tries are those of docs/protocol.md.
"""
import collections, json, os, pathlib, random, shutil, subprocess, sys, tempfile, time

ROUTES = ["name", "backup-service", "bootstrap", "query", "address", "backup-address"]
CLIENTS, HOUR, DAY = 10_000, 3600, 86_400
OUTAGE = (2 * HOUR, 3 * HOUR)
END = 6 * HOUR


def call(service_is_up, httpdns_is_known, routes=True, has_list=True):
    """The requests of one call by route. While the service is away its addresses are away too; HTTPDNS answers."""
    if service_is_up:
        return {"name": 1, "backup-service": 1 if routes else 0}
    if not routes:
        return {"name": 2}
    look_ups = {} if httpdns_is_known else {"bootstrap": 1, "query": 2}
    return {"name": 2, "backup-service": 4, "address": 2, "backup-address": 2 if has_list else 0, **look_ups}


def simulate(lifetime=DAY, interval=600, spread=0.0, routes=True, refusal=False, seed=1):
    """Requests a minute by route. `spread`: random share by which lifetimes differ; `refusal`: the front of the
    service answers every request with a refusal while the service is away."""
    chance = random.Random(seed)
    minutes = {route: [0] * (END // 60) for route in ROUTES}
    for _ in range(CLIENTS):
        ends = chance.uniform(0, lifetime)
        at = chance.uniform(0, interval)
        known = False
        while at < END:
            if at >= ends:
                up = not OUTAGE[0] <= at < OUTAGE[1]
                counts = call(up or refusal, known, routes)
                known = known or (routes and not up and not refusal)
                for route, count in counts.items():
                    minutes[route][int(at // 60)] += count
                if up:
                    ends = at + lifetime * (1 + chance.uniform(-spread, spread))
            at += interval * chance.uniform(0.9, 1.1)
    return minutes


SCENES = [
    ("hosts call every 10 minutes, lifetime a day", {}),
    ("hosts call every minute", {"interval": 60}),
    ("hosts call every hour", {"interval": HOUR}),
    ("lifetime a week", {"lifetime": 7 * DAY}),
    ("lifetime an hour", {"lifetime": HOUR}),
    ("HTTPDNS and backup list left out", {"routes": False}),
    ("the front refuses with status 200", {"refusal": True}),
]
DRAWN = {0: "defaults", 1: "eager-hosts", 5: "without-routes"}


def svg(title, minutes):
    width, height, left, top = 760, 260, 60, 40
    highest = max(max(values) for values in minutes.values()) / 60 or 1
    colors = ["#1b6ca8", "#d1495b", "#66a182", "#edae49", "#8d6a9f", "#444444"]
    place = lambda minute, value: (left + minute / (END / 60) * width, top + height - value / 60 / highest * height)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width + left + 160} {height + top + 40}" '
             'font-family="sans-serif" font-size="12">', '<rect width="100%" height="100%" fill="white"/>',
             f'<text x="{left}" y="20" font-size="14">{title}: requests per second</text>']
    start, end = (place(second / 60, 0)[0] for second in OUTAGE)
    parts.append(f'<rect x="{start:.0f}" y="{top}" width="{end - start:.0f}" height="{height}" fill="#eeeeee"/>')
    for hour in range(END // HOUR + 1):
        parts.append(f'<text x="{place(hour * 60, 0)[0]:.0f}" y="{top + height + 18}" text-anchor="middle">{hour} h</text>')
    for share in (0, 0.5, 1):
        parts.append(f'<text x="{left - 6}" y="{top + height - share * height + 4:.0f}" text-anchor="end">'
                     f'{share * highest:.2f}</text>')
    for index, (route, values) in enumerate(minutes.items()):
        points = " ".join("%.1f,%.1f" % place(minute, value) for minute, value in enumerate(values))
        parts.append(f'<polyline fill="none" stroke="{colors[index]}" stroke-width="1.3" points="{points}"/>')
        parts.append(f'<text x="{left + width + 10}" y="{top + 14 + 18 * index}" fill="{colors[index]}">{route}</text>')
    return "\n".join(parts) + "\n</svg>\n"


def peak(minutes, first, last):
    sums = [sum(values[minute] for values in minutes.values()) for minute in range(first // 60, last // 60)]
    return max(sums) / 60


def plot(folder):
    rows = ["| scene | before | while away | after |", "|---|---|---|---|"]
    for index, (title, settings) in enumerate(SCENES):
        minutes = simulate(**settings)
        if index in DRAWN:
            (folder / f"fleet-{DRAWN[index]}.svg").write_text(svg(title, minutes))
        before, during, after = (peak(minutes, *span) for span in ((HOUR, OUTAGE[0]), OUTAGE, (OUTAGE[1], END)))
        rows.append(f"| {title} | {before:.1f} | {during:.1f} | {after:.1f} |")
    print("\n".join(rows))


class Sandbox:
    def __init__(self, binaries, work, faults):
        (work / "ready").unlink(missing_ok=True)
        self.log = work / f"log{len(faults)}"
        arguments = [binaries / "zorfp-sandbox", "--port", "0", "--state", work / "state", "--log", self.log,
                     "--ready-file", work / "ready"]
        for fault in faults:
            arguments += ["--fault", fault]
        self.program = subprocess.Popen(arguments, stdout=subprocess.DEVNULL)
        while not (work / "ready").exists():
            time.sleep(0.05)
        ready = json.loads((work / "ready").read_text())
        self.environment = {"PATH": "/usr/bin:/bin", "SSL_CERT_FILE": ready["ca_file"],
                            "ZORFP_CONNECT_TO": ",".join(ready["connect_to"])}

    def end(self):
        self.program.terminate()
        self.program.wait()
        entries = [json.loads(line) for line in self.log.read_text().splitlines()]
        return collections.Counter(entry["route"] for entry in entries if entry["kind"] == "request")


def verify(binaries, clients=20):
    work = pathlib.Path(tempfile.mkdtemp())
    differs = False
    away = [f"{route}=status:503" for route in ("name", "address", "backup-address", "backup-service")]
    for label, faults, wanted in (("healthy", [], call(True, False)), ("away", away, call(False, False))):
        sandbox = Sandbox(binaries, work, faults)
        for number in range(clients):
            environment = {**sandbox.environment, "HOME": str(work / f"home{number}")}
            os.makedirs(environment["HOME"], exist_ok=True)
            for arguments in (["fingerprint"], ["cache", "clear"]):
                subprocess.run([binaries / "zorfp", *arguments], env=environment, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
        found = sandbox.end()
        for route in ROUTES:
            expected = clients * wanted.get(route, 0)
            differs = differs or found[route] != expected
            print(f"{label:8} {route:15} simulated {expected:4}  real {found[route]:4}")
    shutil.rmtree(work)
    return 1 if differs else 0


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in ("plot", "verify"):
        sys.exit(__doc__)
    target = pathlib.Path(sys.argv[2])
    sys.exit(plot(target) if sys.argv[1] == "plot" else verify(target))
