"""Tells whether one sound is the other and how much later, by when it is loud."""
import array

RATE = 8000  # samples a second, 16 bit little endian, one channel
WINDOW = 160  # samples


def loudness(wave):
    samples = array.array("h", wave[:len(wave) // 2 * 2])
    parts = [sum(map(abs, samples[at:at + WINDOW])) / WINDOW for at in range(0, len(samples) - WINDOW + 1, WINDOW)]
    return [sum(parts[max(0, at - 2):at + 3]) for at in range(len(parts))]  # so that short clicks are found, too


def likeness(first, second):
    """Correlation of the two, from -1 to 1."""
    count = min(len(first), len(second))
    if count < 2:
        return 0.0
    first, second = first[:count], second[:count]
    mean_first, mean_second = sum(first) / count, sum(second) / count
    product = sum((a - mean_first) * (b - mean_second) for a, b in zip(first, second))
    power = sum((a - mean_first) ** 2 for a in first) * sum((b - mean_second) ** 2 for b in second)
    return product / power ** 0.5 if power else 0.0


def compare(original, copy, most_seconds=0.5):
    """(seconds by which the copy is late, likeness at that lag)"""
    first, second = loudness(original), loudness(copy)
    most = int(most_seconds * RATE / WINDOW)
    best = max(range(-most, most + 1), key=lambda lag: likeness(first[max(0, -lag):], second[max(0, lag):]))
    return best * WINDOW / RATE, likeness(first[max(0, -best):], second[max(0, best):])
