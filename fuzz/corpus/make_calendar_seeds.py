#!/usr/bin/env python3
"""Writes the seeds of appointment_codec_fuzzer (run from the repository):
one selector byte (bit 0 task, bit 1 reply form), then the record."""
import os
import struct

here = os.path.dirname(os.path.abspath(__file__))


def counted(text):
    data = text.encode('utf-16-le') + b'\0\0'
    return struct.pack('<I', len(data)) + data


def time(y, mo, dow, d, h=0, mi=0):
    return struct.pack('<8H', y, mo, dow, d, h, mi, 0, 0)


def u32(v):
    return struct.pack('<I', v)


def block(kind, end, count, mask=0, dom=0, inst=0, month=0, exceptions=0):
    return (time(2026, 3, 1, 2) + time(2026, 6, 1, 29) + bytes(32) +
            bytes([kind]) + u32(count) + bytes([end]) + bytes(4) + u32(1) +
            u32(mask) + u32(dom) + u32(inst) + u32(month) + u32(exceptions))


def exception(deleted):
    original = time(2026, 3, 1, 9, 9, 30)
    if deleted:
        return (original + bytes(32) + u32(1) + b'\xff' * 16 + bytes(12))
    return (original + time(2026, 3, 2, 10, 11) + time(2026, 3, 2, 10, 12) +
            u32(0) + b'\xff' * 4 + u32(0xFFFF) + u32(30) + u32(2) + u32(1) +
            u32(1) + u32(1) + counted('Moved') + counted('Room') +
            counted(''))


def appointment_fields(recurrence=b''):
    fields = [(16, time(2026, 3, 1, 2, 9, 30)), (18, time(2026, 3, 1, 2, 10)),
              (5, u32(1)), (6, u32(2)), (8, u32(15)), (7, u32(1)),
              (4, u32(0)), (1, counted('Standup')), (2, counted('Hall')),
              (3, counted('Work')), (9, counted('notes'))]
    out = b''.join(u32(i) + v for i, v in fields)
    return len(fields) + (1 if recurrence else 0), out + recurrence


def task_fields():
    fields = [(3, time(2026, 4, 3, 1)), (4, time(2026, 4, 4, 30)),
              (7, u32(0)), (5, u32(1)), (10, time(4501, 1, 6, 1)),
              (9, u32(0)), (6, u32(0)), (1, counted('Taxes')),
              (2, counted('Home')), (11, counted('')),
              (19, block(5, 3, 0, dom=30, month=4))]
    return len(fields), b''.join(u32(i) + v for i, v in fields)


recurring = u32(19) + block(1, 2, 10, mask=0x0A, exceptions=2) + \
    exception(True) + exception(False)
count, body = appointment_fields(recurring)
plain_count, plain = appointment_fields()
task_count, task = task_fields()
seeds = {
    'appointment_written': bytes([0]) + u32(count) + body,
    'appointment_reply': bytes([2, 1, 0]) + u32(0x1234) + bytes([count]) +
    body,
    'appointment_plain': bytes([0]) + u32(plain_count) + plain,
    'task_written': bytes([1]) + u32(task_count) + task,
    'task_reply': bytes([3, 1, 0]) + u32(77) + bytes([task_count]) + task,
    'skipped_ids': bytes([0]) + u32(3) + u32(10) + u32(17) + u32(1) +
    counted('x'),
}
directory = os.path.join(here, 'appointment_codec_fuzzer')
os.makedirs(directory, exist_ok=True)
for name, data in seeds.items():
    with open(os.path.join(directory, name), 'wb') as f:
        f.write(data)
