# SPDX-License-Identifier: MIT
#
# gdb pretty printers for the library's objects: for print, info locals, backtrace and front ends.
#
#   (gdb) print name
#   $1 = "gate 7" (length 6, capacity 7, 2 referers)
#   (gdb) print peers
#   $2 = 2 entries in 8 buckets, longest chain 1 = {["eth0"] = 0x5566, ["eth1"] = 0x5588}
#
# gdb loads this file with the library, from its auto-load folder or from the build folder. For a
# router's program or core file load it by hand, with the path of this file: (gdb) source PATH
#
# The program needs debug information; the library may be stripped. The printers read an object's own
# fields through that information. They read what the fields point to as bytes, in the layouts of the
# binary interface, because the program's debug information may not describe it. GCC describes a class
# with virtual functions only where these are defined. To see ConfigReader, StatusInterface, ProcessControl and
# the locks, install the library's debug symbols, or compile the program with
# -femit-class-debug-always.
#
# Objects may be uninitialised or overwritten. Every walk is bounded, and impossible values are shown
# as <an error text>. Nothing here calls a function of the program.
# Needs gdb 12 or later.
#
# Tested by tests/debugger.

import ctypes
import os

import gdb
import gdb.printing

# More than any table or list of a router's daemon has.
MOST_ENTRIES = 10000
MOST_BUCKETS = 1 << 20
MOST_REFERERS = 1 << 24
LONGEST_TEXT = 2147483647


class Broken(Exception):
    """An object has impossible content."""


def word_size():
    return gdb.lookup_type('void').pointer().sizeof


def read_integer(address, size, signed=False):
    kind = gdb.selected_inferior().architecture().integer_type(size * 8, signed)
    try:
        return int(gdb.Value(address).cast(kind.pointer()).dereference())
    except gdb.MemoryError:
        raise Broken('cannot read memory at 0x%x' % address) from None


def read_word(address):
    return read_integer(address, word_size())


def read_int(address):
    return read_integer(address, 4, True)


def read_bytes(address, count):
    try:
        return gdb.selected_inferior().read_memory(address, count).tobytes() if count else b''
    except gdb.MemoryError:
        raise Broken('cannot read memory at 0x%x' % address) from None


def quoted(text):
    """Bytes as a C literal, cut after gdb's "print elements"."""
    limit = gdb.parameter('print elements') or len(text)
    names = {9: '\\t', 10: '\\n', 13: '\\r', 34: '\\"', 92: '\\\\'}
    shown = ''.join(names.get(byte, chr(byte) if 32 <= byte < 127 else '\\%03o' % byte)
                    for byte in text[:limit])
    return '"%s"%s' % (shown, '...' if len(text) > limit else '')


def read_c_text(address):
    """The text at the address, quoted, and cut after gdb's "print elements"."""
    limit = min(gdb.parameter('print elements') or 200, 4096)
    text = b''
    while len(text) <= limit:
        # Byte by byte, because readable memory may end after the text.
        byte = read_bytes(address + len(text), 1)
        if byte == b'\0':
            break
        text += byte
    return quoted(text)


def plural(number, noun, nouns=None):
    return '%d %s' % (number, noun if number == 1 else nouns or noun + 's')


class Buffer:
    """A String's buffer: | referers | capacity | length | text \\0 |"""

    def __init__(self, address):
        if address == 0:
            raise Broken('no buffer')
        word = word_size()
        self.referers = read_int(address)
        self.capacity = read_integer(address + word, word, True)
        self.length = read_integer(address + 2 * word, word, True)
        if not 0 < self.referers <= MOST_REFERERS:
            raise Broken('%d referers' % self.referers)
        if not 0 <= self.length <= self.capacity <= LONGEST_TEXT:
            raise Broken('length %d, capacity %d' % (self.length, self.capacity))
        self.start = address + 3 * word
        if read_bytes(self.start + self.length, 1) != b'\0':
            raise Broken('no NUL ends the text')

    def text(self):
        limit = gdb.parameter('print elements') or self.length
        return quoted(read_bytes(self.start, min(self.length, limit + 1)))

    def __str__(self):
        if self.length == 0:
            return 'empty (capacity %d, %s)' % (self.capacity, plural(self.referers, 'referer'))
        return '%s (length %d, capacity %d, %s)' % (
            self.text(), self.length, self.capacity, plural(self.referers, 'referer'))


def text_of_string(address):
    """The text of the String at the address, or an error text."""
    try:
        return Buffer(read_word(address)).text()
    except Broken as fault:
        return '<broken String: %s>' % fault


class Printer:
    """to_string() shows what describe() returns, or the fault that it raises."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        try:
            return self.describe()
        except (Broken, gdb.error) as fault:
            return '<broken %s: %s>' % (self.value.type.strip_typedefs().unqualified(), fault)


class StringPrinter(Printer):
    def describe(self):
        return str(Buffer(int(self.value['buffer_'])))


class IpAddressPrinter(Printer):
    NO_FAMILY, IPV4 = 0, 1

    def describe(self):
        family = int(self.value['family'])
        if family not in (self.NO_FAMILY, self.IPV4):
            raise Broken('family %d' % family)
        if family == self.NO_FAMILY:
            return 'empty'
        mask = int(self.value['mask'][0])
        prefix = bin(mask).count('1')
        if mask != (0xFFFFFFFF << (32 - prefix)) & 0xFFFFFFFF:
            raise Broken('mask 0x%08x' % mask)
        octets = int(self.value['address'][0]).to_bytes(4, 'big')
        return '%s/%d' % ('.'.join(map(str, octets)), prefix)


class Table:
    """Either hash table, read from its three fields.

    An entry is | key | value | next |, each in a pointer's room.
    """

    def __init__(self, buckets, count, mask):
        if count < 2 or count & (count - 1) or mask != count - 1:
            raise Broken('%d buckets with mask 0x%x' % (count, mask))
        if count > MOST_BUCKETS:
            raise Broken('%d buckets' % count)
        word = word_size()
        self.count = count
        self.chains = []
        entries = 0
        heads = read_bytes(buckets, count * word)
        for bucket in range(count):
            # Most buckets are empty. Skip those without asking gdb for each.
            if not any(heads[bucket * word:(bucket + 1) * word]):
                continue
            chain = []
            entry = read_word(buckets + bucket * word)
            while entry:
                entries += 1
                if entries > MOST_ENTRIES:
                    raise Broken('more than %d entries, or a chain without an end' % MOST_ENTRIES)
                chain.append(entry)
                entry = read_word(entry + 2 * word)
            self.chains.append(chain)
        self.entries = [entry for chain in self.chains for entry in chain]

    def __str__(self):
        return '%s in %d buckets, longest chain %d' % (
            plural(len(self.entries), 'entry', 'entries'), self.count,
            max(map(len, self.chains), default=0))


class TablePrinter(Printer):
    def table(self):
        return Table(int(self.value['buckets']), int(self.value['numberOfBuckets']),
                     int(self.value['hashMask']))

    def describe(self):
        return str(self.table())

    def children(self):
        try:
            entries = self.table().entries
        except Broken:
            return  # to_string reports it
        for entry in entries:
            value = read_word(entry + word_size())
            yield '[%s]' % self.key(entry), gdb.Value(value).cast(gdb.lookup_type('void').pointer())


class IntegerTablePrinter(TablePrinter):
    def key(self, entry):
        return '%d' % read_integer(entry, 4)


class TextTablePrinter(TablePrinter):
    def key(self, entry):
        try:
            return read_c_text(read_word(entry))
        except Broken as fault:
            return '<%s>' % fault


class ConfigReaderPrinter(Printer):
    """Its table leads from texts to Strings."""

    def table(self):
        address = int(self.value['table'])
        if address == 0:
            return None
        word = word_size()
        return Table(read_word(address), read_integer(address + word, 4),
                     read_integer(address + word + 4, 4))

    def describe(self):
        table = self.table()
        return str(table) if table else 'not loaded'

    def children(self):
        try:
            table = self.table()
        except Broken:
            return
        for entry in table.entries if table else ():
            try:
                yield '[%s]' % read_c_text(read_word(entry)), text_of_string(
                    read_word(entry + word_size()))
            except Broken as fault:
                yield '[0x%x]' % entry, '<broken entry: %s>' % fault


def linked(first, next_offset):
    """The addresses of a list's elements."""
    count = 0
    while first:
        count += 1
        if count > MOST_ENTRIES:
            raise Broken('more than %d entries, or a list without an end' % MOST_ENTRIES)
        yield first
        first = read_word(first + next_offset)


class StatusInterfacePrinter(Printer):
    """Receivers are | bufferEvent | fd | next | path |, each in a pointer's room."""

    def receivers(self):
        return list(linked(int(self.value['fifoEntries']), 2 * word_size()))

    def describe(self):
        path = Buffer(int(self.value['path']['buffer_']))
        where = path.text() if path.length else 'no directory'
        return '%s, %s' % (where, plural(len(self.receivers()), 'receiver'))

    def children(self):
        try:
            for receiver in self.receivers():
                word = word_size()
                yield '[%s]' % text_of_string(receiver + 3 * word), 'fd %d, identifier 0x%x' % (
                    read_int(receiver + word), read_word(receiver))
        except Broken:
            return


class ProcessControlPrinter(Printer):
    """Entries are | virtual table | pid | name | next | valid |, each in a pointer's room."""

    def entries(self):
        return list(linked(int(self.value['firstEntry']), 3 * word_size()))

    def describe(self):
        return '%s, %d of them with a command line' % (
            plural(len(self.entries()), 'process', 'processes'), int(self.value['processCount']))

    def children(self):
        try:
            for entry in self.entries():
                word = word_size()
                gone = '' if read_integer(entry + 4 * word, 1) else ' (not seen by the last scan)'
                yield '[%d]' % read_int(entry + word), read_c_text(
                    read_word(entry + 2 * word)) + gone
        except Broken:
            return


def is_local_process():
    """Whether the program runs under this gdb, where its kernel objects are this gdb's as well."""
    inferior = gdb.selected_inferior()
    if inferior.pid == 0 or gdb.selected_thread() is None:
        return False
    connection = inferior.connection
    if connection is None or connection.type != 'native':
        return False
    try:
        return os.stat('/proc/%d/ns/ipc' % inferior.pid) == os.stat('/proc/self/ns/ipc')
    except OSError:
        return False


def semaphore_state(identifier):
    """A semaphore's state from the kernel: whether it is free, and the process that changed it last."""
    GETPID, GETVAL = 11, 12  # of <linux/sem.h>
    semctl = ctypes.CDLL(None, use_errno=True).semctl
    value = semctl(identifier, 0, GETVAL)
    if value < 0:
        return 'state unknown: %s' % os.strerror(ctypes.get_errno())
    if value > 0:
        return 'free'
    return 'held, last changed by process %d' % semctl(identifier, 0, GETPID)


class SemaphorePrinter(Printer):
    def describe(self):
        pathname = self.value['pathname'].address
        text, length = read_word(int(pathname)), read_word(int(pathname) + word_size())
        if not 0 <= length <= 4096:
            raise Broken('a path of %d bytes' % length)
        name = '%s, project %d' % (quoted(read_bytes(text, length)), int(self.value['projectID']))
        identifier = int(self.value['semId'])
        if identifier == -1:
            return name + ', not initialised'
        key = 'key 0x%08x, id %d' % (int(self.value['key']) & 0xFFFFFFFF, identifier)
        state = (semaphore_state(identifier) if is_local_process()
                 else 'its state is the kernel\'s: ipcs -s -i %d' % identifier)
        return '%s, %s, %s' % (name, key, state)


def mapped_name(address):
    """The lock's name, which is the name of the file mapped at the address, or None."""
    try:
        mappings = gdb.execute('info proc mappings', to_string=True)
    except gdb.error:
        return None
    for line in mappings.splitlines():
        columns = line.split()
        if len(columns) < 5 or not columns[0].startswith('0x') or '/dev/shm/' not in line:
            continue
        if int(columns[0], 16) <= address < int(columns[1], 16):
            return line[line.index('/dev/shm/') + len('/dev/shm/'):]
    return None


class RecursiveSemaphorePrinter(Printer):
    """The object leads to | region | mutex | ..., and the region holds a mutex of the C library."""

    def describe(self):
        implementation = read_word(int(self.value['impl'].address))
        if implementation == 0:
            return 'no lock'
        mutex = read_word(implementation + word_size())
        if mutex == 0:
            return 'set-up failed'
        name = mapped_name(mutex)
        return '%s, %s' % (quoted(name.encode()) if name else 'name unknown', self.state(mutex))

    @staticmethod
    def state(mutex):
        """The mutex begins with | int lock | unsigned count | int owner |."""
        try:
            lock, count, owner = (read_int(mutex + 4 * i) for i in range(3))
        except Broken:
            # Core files have no shared memory unless /proc/PID/coredump_filter has bit 3.
            return 'its mutex is not in the core file'
        if lock == 0:
            return 'free'
        if not 0 <= lock <= 2 or count < 0 or owner < 0:
            raise Broken('mutex: lock %d, count %d, owner %d' % (lock, count, owner))
        return 'held %s by thread %d' % (plural(count, 'time'), owner)


def build_printers():
    printers = gdb.printing.RegexpCollectionPrettyPrinter('libvelutils++')
    for name, printer in (
            ('String', StringPrinter),
            ('IpAddress', IpAddressPrinter),
            ('INUInt32HashTable', IntegerTablePrinter),
            ('INStringHashTable', TextTablePrinter),
            ('ConfigReader', ConfigReaderPrinter),
            ('StatusInterface', StatusInterfacePrinter),
            ('ProcessControl', ProcessControlPrinter),
            ('CSemaphore', SemaphorePrinter),
            ('CRecursiveSemaphore', RecursiveSemaphorePrinter)):
        printers.add_printer(name, '^%s$' % name, printer)
    return printers


# For the library's object file, or for all object files if this file was sourced by hand.
gdb.printing.register_pretty_printer(gdb.current_objfile(), build_printers(), replace=True)
