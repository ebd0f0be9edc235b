"""Whether the lists that pulls give during a load are truthful.

Each value of qdxload tells its series and its place in it, so a list that is pulled in the middle of a load can be judged
without knowing what was sent: it is of its own series, without gaps, and begins where the last pull to clear ended. Only a
list that is full may begin later. That takes it that no sample was dropped on the way.
"""
import collections
import csv
import io

SEQUENCE_BITS = 40

Plan = collections.namedtuple("Plan", "frontends objects contexts")


class SeriesCheck:
    """Of one filter, which was there before the first sample, and all pulls from it in their order."""

    def __init__(self, plan, list_size):
        self.plan = plan
        self.list_size = list_size
        self.begins = collections.Counter()  # by series: the first sequence that the filter holds
        self.ends = collections.Counter()  # by series: the sequence behind the newest pulled
        self.values = 0

    def check(self, text, clear):
        """Takes a pull as CSV, and whether it cleared the filter. Gives a list of faults."""
        lists = collections.defaultdict(list)
        for row in csv.DictReader(io.StringIO(text)):
            lists[row["id"], row["context"]].append(int(row["raw"]))
        faults = []
        held = {series for series, end in self.ends.items() if end > self.begins[series]}
        for (object_id, context), values in lists.items():
            series = self.number_of(object_id, context)
            held.discard(series)
            fault = self.check_list(series, values, clear)
            if fault:
                faults.append(f"object {object_id} {context}: {fault}")
        return faults + [f"series {series}: all its values are gone" for series in sorted(held)]

    def number_of(self, object_id, context):
        keys = dict(pair.split("=") for pair in context.split(","))
        frontend, place = int(keys["clientId"]), int(keys["deviceId"])
        return (frontend * self.plan.objects + int(object_id) - 1) * self.plan.contexts + place

    def check_list(self, series, values, clear):
        self.values += len(values)
        sequences = [value & ((1 << SEQUENCE_BITS) - 1) for value in values]
        first, end = sequences[0], sequences[-1] + 1
        begin, earlier_end = self.begins[series], self.ends[series]
        self.ends[series] = end
        if clear:
            self.begins[series] = end
        if any(value >> SEQUENCE_BITS != series + 1 for value in values):
            return "a value of another series"
        if sequences != list(range(first, end)):
            return f"{len(values)} values between {first} and {end}: some are lost, repeated or out of order"
        if first != begin and (first < begin or len(values) < self.list_size):
            return f"begins at {first} instead of {begin}"
        if end < earlier_end:
            return f"ends at {end}; the pull before had values up to {earlier_end}"
        return None
