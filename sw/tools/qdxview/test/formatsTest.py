"""Random pulls, through the program and back: formatsTest.py QDXVIEW.

The messages are encoded here, byte by byte, and what the program makes of them is read with Python's own csv and json,
so nothing of the program's code judges itself."""
import base64
import csv
import datetime
import io
import json
import random
import subprocess
import sys
import unittest

program = sys.argv.pop(1)
rounds = 40
keys = ["macroRfPort", "aasRfPortRow", "aasRfPortColumn", "aasRfPortPolarization", "rfBranch", "carrierId", "dfeId",
        "clientId", "deviceId"]
# By kind: the message's field, the methods by their fields in a collection, the field of the context.
kinds = {
    "measurement": (2, {"min": 4, "max": 5, "average": 6, "list": 7}, 10),
    "counter": (3, {"sum": 4, "list": 5}, 6),
    "record": (4, {"list": 4}, 5),
}
endOfYear9999 = 253402300799


def varint(number):
    number &= (1 << 64) - 1
    out = bytearray()
    while number > 127:
        out.append(number & 127 | 128)
        number >>= 7
    out.append(number)
    return bytes(out)


def number_field(field, number):
    return varint(field << 3) + varint(number)


def bytes_field(field, value):
    return varint(field << 3 | 2) + varint(len(value)) + value


def random_number(dice, lowest, highest):
    return dice.choice([lowest, highest, 0, dice.randint(lowest, highest), max(lowest, min(highest, dice.randint(-9, 9)))])


def random_value(dice, kind):
    if kind == "record":
        return dice.randbytes(dice.randint(0, 9))
    return random_number(dice, -2**63, 2**63 - 1)


def random_collection(dice):
    kind = dice.choice(list(kinds))
    method = dice.choice([None, *kinds[kind][1]])
    return {
        "kind": kind,
        "id": random_number(dice, 0, 2**32 - 1),
        "values": [random_value(dice, kind) for _ in range(dice.randint(0, 5))],
        "times": [dice.choice([random_number(dice, 0, endOfYear9999), random_number(dice, 0, 2**64 - 1)])
                  for _ in range(dice.randint(0, 5))],
        "context": {key: random_number(dice, -2**31, 2**31 - 1) for key in keys if dice.random() < 0.3},
        "aggregation": method and (method, dice.choice(["count", "duration"]), random_number(dice, 0, 2**32 - 1)),
    }


def encoded_collection(collection):
    field, methods, context_field = kinds[collection["kind"]]
    put = bytes_field if collection["kind"] == "record" else number_field
    content = number_field(1, collection["id"])
    content += b"".join(put(2, value) for value in collection["values"])
    content += b"".join(number_field(3, time) for time in collection["times"])
    if collection["aggregation"]:
        method, scope, size = collection["aggregation"]
        content += bytes_field(methods[method], number_field(1, 1 if scope == "count" else 2) + number_field(2, size))
    if collection["context"]:
        content += bytes_field(context_field, b"".join(
            number_field(keys.index(key) + 1, number) for key, number in collection["context"].items()))
    return bytes_field(field, content)


def encoded(collections):
    return number_field(1, 1) + b"".join(map(encoded_collection, collections))


def converted(pull, form):
    return subprocess.run([program, "--format", form], input=pull, capture_output=True, check=True, timeout=60).stdout


def time_text(seconds):
    if seconds > endOfYear9999:
        return str(seconds)
    time = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=seconds)
    return f"{time.isoformat()}Z"


def expected_rows(collections):
    for kind in kinds:
        for collection in collections:
            if collection["kind"] == kind:
                yield from rows_of(collection)


def rows_of(collection):
    method, scope, size = collection["aggregation"] or ("", "", "")
    for index, value in enumerate(collection["values"]):
        times = collection["times"]
        yield {
            "time": time_text(times[index]) if index < len(times) else "",
            "id": str(collection["id"]), "name": "", "tags": "", "kind": collection["kind"],
            "context": ",".join(f"{key}={number}" for key, number in collection["context"].items()),
            "value": "", "unit": "",
            "raw": base64.b64encode(value).decode() if collection["kind"] == "record" else str(value),
            "aggregation": method, "scope": scope, "size": str(size),
        }


def expected_json(collections):
    message = {"version": 1}
    for collection in collections:
        message.setdefault(collection["kind"] + "Collections", []).append(json_of(collection))
    return message


def json_of(collection):
    content = {"id": collection["id"]}
    if collection["values"]:
        content["values"] = [base64.b64encode(value).decode() if collection["kind"] == "record" else str(value)
                             for value in collection["values"]]
    if collection["times"]:
        content["timestamps"] = [str(time) for time in collection["times"]]
    if collection["aggregation"]:
        method, scope, size = collection["aggregation"]
        content["avg" if method == "average" else method] = {"subtype": scope.upper(), "size": size}
    if collection["context"]:
        content["context"] = collection["context"]
    return content


class Formats(unittest.TestCase):
    @staticmethod
    def random_pulls():
        for seed in range(rounds):
            dice = random.Random(seed)
            collections = [random_collection(dice) for _ in range(dice.randint(1, 12))]
            yield f"seed {seed}", collections

    def test_csv_gives_all_values_back(self):
        for seed, collections in self.random_pulls():
            text = converted(encoded(collections), "csv").decode()
            rows = list(csv.DictReader(io.StringIO(text, newline=""), strict=True))
            self.assertEqual(rows, list(expected_rows(collections)), seed)

    def test_json_gives_the_whole_message_back(self):
        for seed, collections in self.random_pulls():
            self.assertEqual(json.loads(converted(encoded(collections), "json")), expected_json(collections), seed)

    def test_raw_gives_every_byte_back(self):
        for seed, collections in self.random_pulls():
            pull = encoded(collections)
            text = b"$ pull\n<QdxOutput>" + base64.b64encode(pull) + b"</QdxOutput>\n"
            self.assertEqual(converted(pull, "raw"), pull, seed)
            self.assertEqual(converted(text, "raw"), pull, seed)

    def test_text_has_a_line_for_each_value(self):
        for seed, collections in self.random_pulls():
            lines = converted(encoded(collections), "text").decode().splitlines()
            self.assertEqual(len(lines), sum(len(collection["values"]) for collection in collections), seed)


unittest.main()
