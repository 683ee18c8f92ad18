"""The blocks a camera writes between its media data: tag, length as five digits, payload."""
import datetime


def block(tag, payload):
    return tag + b"%05d" % len(payload) + payload


def channel_block(channels):
    """What the recording holds: (width, height, whole frames a second) for each channel."""
    pieces = ":".join(f"{width}.{height}.{rate}" for width, height, rate in channels)
    return block(b"DAT", f"vid:[{len(channels)}]{pieces}".encode())


def position_block(utc, step):
    sentence = (f"GPRMC,{utc:%H%M%S}.00,A,3730.{6435 + step * 7 % 3000:04d},N,12704.{3293 + step * 11 % 3000:04d},E,"
                f"{24.17 + step % 9:.2f},{76.09 + step % 20:.2f},{utc:%d%m%y},,,A")
    checksum = 0
    for character in sentence.encode():
        checksum ^= character
    return block(b"GPS", f"${sentence}*{checksum:02X}\r\n".encode())


def acceleration_block(local, x, y, z):
    return block(b"SHO", bytes([0, x + 128, y + 128, z + 128, 0, 0, 0, local.year - 2000, local.month, local.day,
                                local.hour, local.minute, local.second, 0, 0]))


def blocks(seconds, start, dice, phase):
    """(media time, block): positions once a second and accelerations ten times, the clock stepping at `phase`."""
    result = []
    for tenth in range(int(seconds * 10)):
        time = tenth / 10
        clock = start + datetime.timedelta(seconds=int(time - phase + 1))
        if abs((time - phase) % 1.0) < 0.05 or abs((time - phase) % 1.0) > 0.95:
            clock = start + datetime.timedelta(seconds=int(round(time - phase + 1)))
            result.append((time, position_block(clock - datetime.timedelta(hours=9), tenth // 10)))
        result.append((time, acceleration_block(clock, *(dice.randint(-20, 20) for _ in range(3)))))
    return result
