#!/usr/bin/env python3
"""Writes the hostile input corpus of tests/hostile_input_test.py (run it
again after changing it; the files it writes are kept in the repository).

paths.json: device paths for the file commands of the wire and for
`vorn-device fs`, as JSON strings (so that NULs and lone surrogates fit).
conversations.txt: malformed conversations, one a line: a name, a space and
the bytes the desktop sends, in hexadecimal.
"""
import json
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
ESCAPE = 'vorn_hostile_escape'


def hostile_paths():
    paths = []
    # '..' in every position, with either separator.
    for sep in ('\\', '/'):
        parts = ['a', 'b', ESCAPE]
        for i in range(len(parts) + 1):
            paths.append(sep.join(parts[:i] + ['..'] + parts[i:]))
        paths.append(sep.join(['..'] * 8 + ['tmp', ESCAPE]))
        paths.append(sep + sep.join(['..'] * 3 + ['etc', 'passwd']))
        paths.append(sep.join(['a', '..', '..', ESCAPE]))
        paths.append(sep.join(['.', '.', ESCAPE]))
        paths.append(sep.join(['...', ESCAPE]))
        paths.append(sep.join(['a', '..']))
        paths.append(sep + '..')
        paths.append('..' + sep)
        paths.append(sep * 3 + ESCAPE)
    paths += ['..', '.', '...', '....', '\\.\\..\\' + ESCAPE,
              '..\\\\..\\\\' + ESCAPE]
    # Drive letters, device and UNC forms.
    paths += ['C:\\' + ESCAPE, 'C:' + ESCAPE, 'c:/' + ESCAPE,
              'Z:\\..\\' + ESCAPE, '\\\\?\\C:\\' + ESCAPE,
              '\\\\.\\PhysicalDrive0', '\\\\server\\share\\' + ESCAPE,
              '//server/share/' + ESCAPE, 'CON', 'NUL', 'AUX', 'COM1',
              'LPT1', '\\My Documents\\CON.txt', 'C:', '\\C:\\x']
    # Host-absolute paths.
    paths += ['/etc/passwd', '/tmp/' + ESCAPE, '/dev/null', '/dev/zero',
              '/proc/self/environ', '/proc/self/mem', '~/' + ESCAPE,
              '$HOME/' + ESCAPE, 'file:///etc/passwd', '/', '//', '\\',
              '\\\\', '']
    # Embedded NULs (the wire only: no command line can hold one).
    paths += ['a\0b', '\0', ESCAPE + '\0.txt', '\\My Documents\0\\..\\x',
              '/tmp/' + ESCAPE + '\0ignored', '..\0..']
    # Over-long names and paths.
    paths += ['a' * 255, 'a' * 256, 'b' * 1000, 'c' * 70000,
              '\\'.join(['d'] * 300), '\\'.join(['e' * 200] * 20),
              '\\' + 'x' * 259, '\\' + 'x' * 260]
    # Odd UTF-16: lone and reversed surrogates, non-characters, controls.
    paths += ['\ud800', '\udfff', 'a\ud800b', '\udc00\ud800', '\ud83d',
              '\ufffe', '\uffff', '\ufeff' + ESCAPE, 'x\u202e' + 'txt.exe',
              '\x01\x02\x1f', 'tab\there', 'line\nbreak', 'cr\rhere',
              '\u0085next', '\u00e9t\u00e9', '\u0301', '\U0001f600.txt',
              '\u2024\u2024\\' + ESCAPE, '\uff0e\uff0e\\' + ESCAPE,
              '\u2215etc\u2215passwd']
    # Names that differ only in case or in trailing dots and spaces.
    paths += ['\\Case.txt', '\\CASE.TXT', '\\case.txt', '\\Case.txt.',
              '\\Case.txt..', '\\Case.txt ', '\\Case.txt. .',
              '\\dir.\\f', '\\dir \\f', '\\\u0130.txt', '\\i\u0307.txt',
              '\\\u00df.txt', '\\SS.txt', '\\\u212a.txt', '\\k.txt']
    # Wildcards and reserved characters.
    paths += ['*', '?', '\\*.*', '\\My Documents\\*.pwi', 'a<b>c', 'a|b',
              'a"b', 'a:b:c', ':stream', '\\file.txt:ads']
    return paths


def frame(packet):
    return struct.pack('<I', len(packet)) + bytes(packet)


def counted_raw(data):
    return struct.pack('<I', len(data)) + data


def u32(value):
    return struct.pack('<I', value)


END = frame([1, 1])


def conversations():
    out = []

    def add(name, data):
        out.append((name, data))

    add('empty', b'')
    add('short_length_1', b'\x05')
    add('short_length_3', b'\x05\x00\x00')
    for length in (0, 1):
        for command in range(0, 22):
            add('length_%d_cmd_%d' % (length, command),
                u32(length) + bytes([command, 1][:length]) + END)
    for length in (2, 0xFFFFFFFF, 0x7FFFFFFF, 0x01000001, 0x00FFFFFF):
        add('length_%x' % length, u32(length) + bytes([6, 1]))
    for command in range(2, 21):
        add('truncated_cmd_%d' % command, u32(40) + bytes([command, 1]) +
            bytes(10))
    for dtype in (0, 6, 255):
        add('data_type_%d' % dtype, frame([6, dtype]) + END)
    # Counted strings whose count runs past the packet.
    for command in (8, 9, 10, 11, 12):
        for count in (0xFFFFFFFF, 1000, 3, 1):
            add('string_%d_count_%x' % (command, count),
                frame(bytes([command, 1]) + u32(count) + b'd\0') + END)
    for command in (18, 19):
        for count in (0xFFFFFFFF, 0x80000000, 7):
            add('file_%d_path_count_%x' % (command, count),
                frame(bytes([command, 1]) + u32(count) + b'\\\0') + END)
        path = counted_raw('\\f.txt\0'.encode('utf-16-le'))
        add('file_%d_no_numbers' % command,
            frame(bytes([command, 1]) + path) + END)
        add('file_%d_size_max' % command,
            frame(bytes([command, 1]) + path + u32(0) + u32(0xFFFFFFFF) +
                  u32(0xFFFFFFFF)) + END)
    # Lists that claim more entries than the packet holds.
    for command in (15, 16, 17):
        for count in (0xFFFFFFFF, 0x40000000, 0x10000, 2):
            for dtype in (1, 2, 3, 5):
                add('list_%d_type_%d_n_%x' % (command, dtype, count),
                    frame(bytes([command, dtype]) + u32(count) + u32(5)) +
                    END)
    # Records whose field counts or strings run past the packet.
    for dtype in (1, 2, 3, 5):
        for command in (2, 3):
            add('record_%d_type_%d_fields_max' % (command, dtype),
                frame(bytes([command, dtype]) + u32(0) + u32(0xFFFFFFFF)) +
                END)
            add('record_%d_type_%d_string_past' % (command, dtype),
                frame(bytes([command, dtype]) + u32(0) + u32(1) + u32(1) +
                      u32(0x7FFFFFFF) + b'a\0') + END)
            add('record_%d_type_%d_no_id' % (command, dtype),
                frame(bytes([command, dtype])) + END)
    # A good packet, then one that breaks, then one that would be good.
    add('good_then_truncated', frame([6, 1]) + u32(9) + bytes([6, 1]))
    add('good_then_huge', frame([14, 1]) + u32(0xFFFFFFFF) + frame([6, 1]))
    add('no_end', frame([6, 1]) + frame([13, 2]))
    add('garbage', bytes(range(256)) * 4)
    return out


def main():
    with open(os.path.join(HERE, 'paths.json'), 'w', encoding='ascii') as f:
        json.dump(hostile_paths(), f, indent=0, ensure_ascii=True)
        f.write('\n')
    with open(os.path.join(HERE, 'conversations.txt'), 'w',
              encoding='ascii') as f:
        for name, data in conversations():
            f.write('%s %s\n' % (name, data.hex()))


if __name__ == '__main__':
    main()
