# SPDX-License-Identifier: MIT
#
# gdb runs this after it has stopped in the specimens: compares what gdb shows with the file expected.
# The environment variable SPECIMENS selects the lines to compare.

import os
import re

import gdb


def pattern_of(text):
    """A regular expression for a line's right side: PID is the process, * any text."""
    text = text.replace('PID', str(gdb.selected_inferior().pid))
    return '.*'.join(map(re.escape, text.split('*')))


def rows():
    path = os.path.join(os.path.dirname(__file__), 'expected')
    for line in open(path, encoding='ascii'):
        match = re.fullmatch(r'(?:([a-z ]+): )?(\S+) => (.*)', line.rstrip('\n'))
        if match and (not match[1] or os.environ['SPECIMENS'] in match[1].split()):
            yield match[2], match[3]


def compare():
    failures = checked = 0
    gdb.execute('frame function main')
    for expression, text in rows():
        try:
            shown = gdb.execute('output ' + expression, to_string=True)
        except gdb.error as error:
            shown = 'error: %s' % error
        checked += 1
        if not re.fullmatch(pattern_of(text), shown, re.DOTALL):
            failures += 1
            print('%s\n  shows:  %s\n  should: %s' % (expression, shown, text))
    print('%s: %d of %d objects shown as they should be' % (
        os.environ['SPECIMENS'], checked - failures, checked))
    return failures == 0 and checked > 0


try:
    good = compare()
except gdb.error as error:
    print(error)
    good = False
gdb.execute('set confirm off')
gdb.execute('quit %d' % (not good))
