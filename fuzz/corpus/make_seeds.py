#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets (run from the repository)."""
import os
import struct

here = os.path.dirname(os.path.abspath(__file__))


def frame(packet):
    return struct.pack('<I', len(packet)) + bytes(packet)


def counted(text):
    data = text.encode('utf-16-le') + b'\0\0'
    return struct.pack('<I', len(data)) + data


def contact(fields):
    out = struct.pack('<I', len(fields))
    for fid, value in fields:
        out += struct.pack('<I', fid)
        out += value if isinstance(value, bytes) else counted(value)
    return out


def time(y, m, d):
    return struct.pack('<8H', y, m, 0, d, 10, 20, 30, 0)


john = contact([(31, 'John'), (33, 'Smith'), (2, time(1970, 5, 17)),
                (6, 'john@example.org'), (50, 'notes')])
def pwi_record(rtype, rid, payload):
    payload += b'\0' * (-len(payload) % 4)
    return struct.pack('<HHH', rtype, rid, len(payload) // 4) + payload


def pwi_paragraph(rid, coded):
    return pwi_record(0x41, rid, bytes(24) + coded + b'\0')


PWI_HEADER = b'{\\pwi\x15\0\0\x01\x01\x06\0\0\0'
PWI_END = struct.pack('<HHHH', 0x82, 9, 3, 0x82) + bytes(10)
pwi_text = (PWI_HEADER + pwi_paragraph(0x23, b'\xe5\x02\0Hello\xc4\x00') +
            pwi_paragraph(0x25, b'caf\xc1\xe9\xc4\x04\xb1\x0e\xc4\x00') +
            PWI_END)
pwi_ink = (PWI_HEADER + pwi_record(0x99, 0x30, bytes(12)) +
           struct.pack('<HHH', 0x55, 0, 5) + b'RIFF!' +
           pwi_paragraph(0x23, b'I\x99\x80m\xc4\x00') + PWI_END)
pwi_list = (PWI_HEADER +
            pwi_record(0x40, 8, struct.pack('<6I', 2, 2, 8, 2, 0, 0) +
                       struct.pack('<4H', 1, 4, 0x25, 0) +
                       struct.pack('<4H', 1, 4, 0x23, 0)) +
            pwi_paragraph(0x23, b'one\xc4\x00') +
            pwi_paragraph(0x25, b'two\xc4\x00') + PWI_END)


def recurrence(rtype, end_kind, exceptions=0, interval=1, mask=2, dom=15,
               instance=2, month=2):
    return (time(2026, 2, 2) + time(2026, 6, 30) + bytes(32) +
            struct.pack('<BIB', rtype, 5, end_kind) + bytes(4) +
            struct.pack('<6I', interval, mask, dom, instance, month,
                        exceptions))


def exception(deleted, subject=None, location=None, body=None):
    out = (time(2026, 2, 9) + time(2026, 2, 10) + time(2026, 2, 10) +
           struct.pack('<IIIII', deleted, 0xFFFFFFFF, 0xFFFFFFFF, 30, 1) +
           struct.pack('<III', subject is not None, location is not None,
                       body is not None))
    for text in (subject, location, body):
        if text is not None:
            out += counted(text)
    return out


def u32(value):
    return struct.pack('<I', value)


meeting = contact([(1, 'Meeting'), (2, 'Room 1'), (4, u32(0)), (5, u32(1)),
                   (7, u32(1)), (8, u32(15)), (9, 'agenda'),
                   (16, time(2026, 2, 2)), (18, time(2026, 2, 2))])
weekly = contact([(1, 'Weekly'), (16, time(2026, 2, 2)),
                  (18, time(2026, 2, 2)),
                  (19, recurrence(1, 2, 2) + exception(1) +
                   exception(0, 'Moved', 'Hall'))])
chore = contact([(1, 'Chore'), (3, time(2026, 2, 2)), (4, time(2026, 3, 1)),
                 (5, u32(2)), (6, u32(0)), (7, u32(1)), (9, u32(1)),
                 (10, time(2026, 2, 28)), (11, 'notes')])
# The records fuzz/list_command.h puts on the handheld, by data type.
LIST_IDS = {1: (0x10006, 0x1000B), 2: (0x1000D, 0x10010),
            3: (0x10012, 0x10015), 5: (0x10017, 0x1001A)}
seeds = {
    'session_fuzzer': {
        'end': frame([1, 1]),
        'count': frame([6, 1]) + frame([1, 1]),
        'add_get': frame(bytes([2, 1]) + struct.pack('<I', 1) + john) +
        frame(bytes([13, 1])) + frame([1, 1]),
        'machine': frame([14, 1]) + frame([20, 4]) + frame([1, 4]),
        'file': frame(bytes([18, 1]) + counted('\\f.txt') +
                      struct.pack('<II', 0, 3) + b'abc') +
        frame(bytes([19, 1]) + counted('\\f.txt') +
              struct.pack('<III', 0, 0, 10)) + frame([1, 1]),
        'contract': frame(bytes([8, 1]) + counted('desk')) +
        frame(bytes([11, 1]) + counted('desk')) +
        frame(bytes([12, 1]) + counted('desk')) + frame([1, 1]),
    },
    'appointment_record_fuzzer': {
        'meeting': meeting,
        'weekly_exceptions': weekly,
        'monthly_by_date': contact([(16, time(2026, 2, 2)),
                                    (19, recurrence(2, 1))]),
        'skipped_ids': contact([(10, b''), (17, b''), (1, 'x')]),
    },
    'task_record_fuzzer': {
        'chore': chore,
        'yearly_nth': contact([(1, 'Yearly'), (19, recurrence(6, 3))]),
        'field_eight': contact([(8, b''), (1, 'x')]),
    },
    'contact_record_fuzzer': {
        'john': john,
        'unknown_id': contact([(99, 'x'), (31, 'A')]),
        'empty': struct.pack('<I', 0),
    },
    'note_record_fuzzer': {
        'title_text': contact([(1, 'Shopping'), (2, 'milk\r\nbread')]),
        'text_only': contact([(2, 'untitled')]),
        'unknown_id': contact([(9, 'x'), (1, 'T')]),
    },
    'get_changed_records_fuzzer': {
        'contacts': bytes([1]) + counted('desk'),
        'notes': bytes([5]) + counted('desk'),
        'unknown_contract': bytes([3]) + counted('other'),
    },
    'get_all_records_fuzzer': {
        'contacts': bytes([1]),
        'appointments': bytes([2]),
        'notes': bytes([5]),
    },
    'batch_write_fuzzer': {
        'add_update': bytes([1]) + u32(2) + bytes([1, 1]) + u32(0) + john +
        bytes([2, 1]) + u32(LIST_IDS[1][0]) + contact([(31, 'Jo')]),
        'task': bytes([3]) + u32(1) + bytes([1, 3]) + u32(0) + chore,
        'note': bytes([5]) + u32(1) + bytes([1, 5]) + u32(0) +
        contact([(1, 'Batch')]),
    },
    'get_records_fuzzer': {
        'contacts': bytes([1]) + u32(2) + u32(LIST_IDS[1][0]) +
        u32(LIST_IDS[1][1]),
        'appointments': bytes([2]) + u32(1) + u32(LIST_IDS[2][0]),
        'notes': bytes([5]) + u32(2) + u32(LIST_IDS[5][0]) +
        u32(LIST_IDS[5][1]),
    },
    'delete_records_fuzzer': {
        'tasks': bytes([3]) + u32(2) + u32(LIST_IDS[3][0]) +
        u32(LIST_IDS[3][1]),
        'contact_and_missing': bytes([1]) + u32(2) + u32(LIST_IDS[1][1]) +
        u32(1),
    },
    'note_file_fuzzer': {
        'text': pwi_text,
        'ink_and_sound': pwi_ink,
        'paragraph_list': pwi_list,
        'header_only': PWI_HEADER,
    },
}
for target, files in seeds.items():
    os.makedirs(os.path.join(here, target), exist_ok=True)
    for name, data in files.items():
        with open(os.path.join(here, target, name), 'wb') as f:
            f.write(data)
