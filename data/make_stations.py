#!/usr/bin/env python3
"""Writes stations.json: invented ocean observing stations, the same ones every time.

The shape is that of real archives: nested records that are not all alike, 64-bit identifiers and
nanosecond time stamps that a double cannot hold, gaps as nulls or missing keys, quality flags in
nested arrays, names in several scripts. One station a line, so that a change shows as such.
"""

import json
import pathlib
import random

STATIONS = 2400
EPOCH_2024 = 1_704_067_200_000_000_000

PLACES = ["Ålesund", "Reykjavík", "Łeba", "Çanakkale", "Πειραιάς", "Владивосток", "横浜", "부산",
          "Ponta Delgada", "Cape Town", "Hobart", "Lüderitz", "São Tomé", "Nuku‘alofa", "Brest"]
KINDS = ["mooring", "drifter", "profiling float", "tide gauge"]
SENSORS = [("temperature", "°C", 11.0, 6.0), ("salinity", "g/kg", 34.6, 1.2),
           ("pressure", "dbar", 480.0, 400.0), ("oxygen", "µmol/kg", 240.0, 60.0)]


def sensor(rng, kind, unit, mean, spread):
    count = rng.randrange(3, 9)
    samples = [None if rng.random() < 0.04 else round(mean + spread * (2 * rng.random() - 1), 4)
               for _ in range(count)]
    record = {"kind": kind, "unit": unit, "serial": rng.randrange(1, 100_000), "samples": samples,
              # Quality flags: one row per check, one flag per sample.
              "flags": [[rng.choice((0, 0, 0, 0, 1, 4)) for _ in range(count)] for _ in range(2)]}
    if rng.random() < 0.3:
        record["drift_per_year"] = rng.random() * 10.0 ** -rng.randrange(2, 9)
    return record


def station(rng, number):
    place = rng.choice(PLACES)
    # One in six was deployed before 1970: a negative number of nanoseconds.
    years = rng.randrange(-8, -1) if rng.random() < 1 / 6 else rng.randrange(10, 54)
    deployed = years * 31_556_952_000_000_000 + rng.randrange(10 ** 15)
    record = {
        "id": rng.getrandbits(64) | 1 << 60,
        "name": f"{place} {number % 97 + 1}",
        "kind": rng.choice(KINDS),
        "active": rng.random() < 0.7,
        "deployed_ns": deployed,
        "position": {"latitude": round(rng.random() * 170 - 85, 5),
                     "longitude": round(rng.random() * 360 - 180, 5)},
    }
    if rng.random() < 0.9:
        record["position"]["depth_m"] = rng.randrange(5, 5200)
    if rng.random() < 0.25:
        record["clock_offset_ns"] = -rng.getrandbits(62) | 1
    if rng.random() < 0.5:
        record["last_contact_ns"] = None if rng.random() < 0.3 else EPOCH_2024 + rng.getrandbits(54)
    record["sensors"] = [sensor(rng, *kind)
                         for kind in rng.sample(SENSORS, rng.randrange(1, len(SENSORS) + 1))]
    if rng.random() < 0.12:
        record["note"] = rng.choice((
            "anchor dragged, position from 2nd fix", "relève prévue — capteur n° 2 encrassé",
            "recovered with \"ghost\" data\nsee log", "🐋 strike suspected", ""))
    return record


def main():
    rng = random.Random(20240229)
    head = {
        "title": "Ocean observing stations (invented)",
        "institution": "Institut für Meereskunde · Institute of Marine Measurements",
        "created_ns": EPOCH_2024 + 123_456_789,
        "conventions": {"missing": None, "flags": {"0": "good", "1": "not checked", "4": "bad"}},
        "grid": [[-180.0, -90.0], [180.0, 90.0]],
    }
    lines = [json.dumps(station(rng, i), ensure_ascii=False, separators=(",", ":"))
             for i in range(STATIONS)]
    text = json.dumps(head, ensure_ascii=False, indent=1)[:-2]
    text += ',\n "stations": [\n' + ",\n".join(lines) + "\n]}\n"
    pathlib.Path(__file__).with_name("stations.json").write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
