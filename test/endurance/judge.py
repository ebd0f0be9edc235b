"""Judges the measurements of a soak: what must be flat is flat."""
import collections

# What resident memory may grow by, by the fitted line, from the end of the warm-up to the end.
MOST_GROWTH_KIB = 1024
WARM_UP_SECONDS = 300
SECONDS_AN_HOUR = 3600

Trend = collections.namedtuple("Trend", "lowest highest kib_per_hour growth_kib")


def slope(points):
    """Of the line through points (x, y), by least squares; 0 if the points have one x alone."""
    mean_x = sum(x for x, _ in points) / len(points)
    mean_y = sum(y for _, y in points) / len(points)
    spread = sum((x - mean_x) ** 2 for x, _ in points)
    return sum((x - mean_x) * (y - mean_y) for x, y in points) / spread if spread else 0


def after_warm_up(rows):
    """The rows behind the first minutes: five of them, or a third of a shorter run."""
    begin, end = rows[0].seconds, rows[-1].seconds
    return [row for row in rows if row.seconds >= begin + min(WARM_UP_SECONDS, (end - begin) / 3)]


def trend(rows, column):
    points = [(row.seconds, getattr(row, column)) for row in rows]
    per_second = slope(points)
    return Trend(min(y for _, y in points), max(y for _, y in points), per_second * SECONDS_AN_HOUR,
                 per_second * (points[-1][0] - points[0][0]))


def floors(rows, column):
    """The least at the beginning and at the end: what comes and goes is in neither."""
    part = max(1, len(rows) // 4)
    return tuple(min(getattr(row, column) for row in rows[place]) for place in (slice(part), slice(-part, None)))


def judge(rows, most_growth_kib=MOST_GROWTH_KIB):
    """Takes rows with seconds, resident_kib, anonymous_kib, descriptors, threads and files. Gives a list of faults."""
    if not rows:
        return ["nothing was measured"]
    rows = after_warm_up(rows)
    faults = []
    for column in ("resident_kib", "anonymous_kib"):
        seen = trend(rows, column)
        if seen.growth_kib > most_growth_kib:
            faults.append(f"{column} grew by {seen.growth_kib:.0f} KiB, {seen.kib_per_hour:.0f} KiB an hour")
    for column in ("descriptors", "threads", "files"):
        before, after = floors(rows, column)
        if after > before:
            faults.append(f"{column} grew from {before} to {after}")
    return faults
