#!/usr/bin/env python3
"""The runner of the pages finds what is wrong on one, and passes what is right."""
import os
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
from expected import first_difference, fits, renewed  # noqa: E402
from page import PageError, blocks, commands  # noqa: E402

HERE = os.path.dirname(os.path.realpath(__file__))
RUN = os.path.join(HERE, 'run')


def page_of(text):
    """A page from lines that are marked off by a bar, so that its fences stand out."""
    return '\n'.join(line.strip()[1:] for line in text.strip().split('\n')) + '\n'


class WithPages(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        self.path = os.path.join(self.directory, 'page.md')

    def run_page(self, text, *arguments):
        """Status and output of the runner over a page."""
        with open(self.path, 'w', encoding='utf-8') as file:
            file.write(page_of(text))
        done = subprocess.run([RUN, *arguments, self.path], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def passes(self, text, *arguments):
        status, output = self.run_page(text, *arguments)
        self.assertEqual(status, 0, output)
        return output

    def fails(self, text, line, *words):
        """Fails with a finding in that line of the page, and with these words."""
        status, output = self.run_page(text)
        self.assertEqual(status, 1, output)
        self.assertIn(f'{self.path}:{line}: ', output)
        for word in words:
            self.assertIn(word, output)

    def page(self):
        with open(self.path, encoding='utf-8') as file:
            return file.read()


class Commands(WithPages):
    def test_right_output_passes_and_commands_are_counted(self):
        output = self.passes('''
            |```console
            |$ echo one; echo two
            |one
            |two
            |$ true
            |```''')
        self.assertIn('2 commands', output)

    def test_wrong_output_is_found_with_line_expected_and_got(self):
        self.fails('''
            |# Title
            |```console
            |$ echo one; echo two
            |one
            |three
            |```''', 5, 'expected: three', 'got:      two')

    def test_a_line_too_few_is_found(self):
        self.fails('''
            |```console
            |$ echo one; echo two
            |one
            |```''', 4, 'expected: (nothing)', 'got:      two')

    def test_a_line_too_many_is_found(self):
        self.fails('''
            |```console
            |$ echo one
            |one
            |two
            |```''', 4, 'expected: two', 'got:      (nothing)')

    def test_a_failing_command_is_found(self):
        self.fails('''
            |```console
            |$ echo one; false
            |one
            |```''', 2, 'ends with status 1')

    def test_each_command_that_differs_is_told(self):
        self.fails('''
            |```console
            |$ echo one
            |1
            |$ echo two
            |two
            |$ echo three
            |3
            |```''', 7, ':3: not what is printed', '2 wrong')

    def test_standard_error_counts(self):
        self.passes('''
            |```console
            |$ echo no >&2
            |no
            |```''')

    def test_any_lines_and_any_text(self):
        self.passes('''
            |```console
            |$ seq 1 9; echo process $$ has ended
            |1
            |...
            |9
            |process … has ended
            |```''')

    def test_directory_and_variables_stay_from_block_to_block(self):
        self.passes('''
            |```console
            |$ mkdir deep && cd deep && colour=green
            |```
            |Text between.
            |```console
            |$ basename "$PWD"; echo $colour
            |deep
            |green
            |```''')

    def test_continued_lines_make_one_command(self):
        self.passes('''
            |```console
            |$ cat <<'END'
            |> one
            |>
            |> two
            |> END
            |one
            |
            |two
            |```''')

    def test_a_command_has_nothing_to_read_and_does_not_swallow_the_next(self):
        self.passes('''
            |```console
            |$ cat; echo end
            |end
            |$ echo next
            |next
            |```''')

    def test_a_command_without_end_is_stopped(self):
        status, output = self.run_page('''
            |```console
            |$ echo begun; sleep 1000
            |```''', '--seconds', '0.5')
        self.assertEqual(status, 1)
        self.assertIn('no end after 0.5 seconds', output)
        self.assertIn('begun', output)

    def test_a_command_that_ends_the_shell_is_found(self):
        self.fails('''
            |```console
            |$ exit 3
            |$ true
            |```''', 2, 'ended the shell, with status 3')

    def test_what_a_page_leaves_running_is_stopped(self):
        self.passes(f'''
            |```console
            |$ sleep 1000 >/dev/null & echo $! >{self.directory}/pid
            |```''')
        with open(os.path.join(self.directory, 'pid'), encoding='utf-8') as file:
            self.assertFalse(os.path.exists(f'/proc/{file.read().strip()}/cwd'))

    def test_a_console_block_that_begins_with_output_is_refused(self):
        self.fails('''
            |```console
            |one
            |$ echo one
            |```''', 2, 'no command')

    def test_a_fence_that_stays_open_is_refused(self):
        self.fails('''
            |```console
            |$ true''', 1, 'never closed')


class Files(WithPages):
    def test_a_block_with_a_file_name_is_written(self):
        self.passes('''
            |```c src/one.c
            |int one(void) {
            |    return 1;
            |}
            |```
            |```console
            |$ cat src/one.c
            |int one(void) {
            |    return 1;
            |}
            |```''')

    def test_a_file_name_cannot_leave_the_directory(self):
        self.fails('''
            |```text ../above
            |text
            |```''', 1, 'not below')

    def test_each_page_has_an_empty_directory(self):
        text = '''
            |```console
            |$ ls; touch here
            |```'''
        self.passes(text)
        self.passes(text)

    def test_an_installed_prefix_is_found(self):
        prefix = os.path.join(self.directory, 'prefix')
        for name in ('bin', 'include', 'lib/pkgconfig'):
            os.makedirs(os.path.join(prefix, name))
        for name, text in (('bin/isam', '#!/bin/sh\necho the tool\n'), ('lib/libisam.a', ''),
                           ('include/isam_seen.h', '#define SEEN 7\n'),
                           ('lib/pkgconfig/isam.pc', 'Name: isam\nDescription: x\nVersion: 1\nLibs: -lisam\n')):
            with open(os.path.join(prefix, name), 'w', encoding='utf-8') as file:
                file.write(text)
        os.chmod(os.path.join(prefix, 'bin/isam'), 0o755)
        self.passes('''
            |```console
            |$ isam
            |the tool
            |$ echo '#include <isam_seen.h>' | cc -E -P -dM -x c - | grep SEEN
            |#define SEEN 7
            |$ echo $LD_LIBRARY_PATH $LIBRARY_PATH $PKG_CONFIG_PATH
            |…/prefix/lib …/prefix/lib …/prefix/lib/pkgconfig
            |$ test -d "$ISAM_SOURCE/src"
            |```''', '--prefix', prefix)


class Untested(WithPages):
    def test_a_shell_block_is_found(self):
        for language in ('sh', 'bash', 'shell'):
            self.fails(f'''
                |Text.
                |```{language}
                |anything
                |```''', 2, 'nothing runs it')

    def test_an_indented_command_is_found(self):
        for command in ('./configure', 'cc -o a a.c', '$ anything', 'cmake --build build', 'tests/docs/run PAGE'):
            self.fails(f'''
                |Text.
                |
                |    {command}
                |''', 3, 'looks like a command')

    def test_a_command_in_a_plain_block_is_found(self):
        for info in ('', 'text'):
            self.fails(f'''
                |```{info}
                |This file is listed by
                |isam info file
                |```''', 1, 'line 3 looks like a command')

    def test_a_command_within_a_list_item_is_found(self):
        self.fails('''
            |1. Build:
            |
            |       make all
            |''', 3, 'looks like a command')

    def test_the_text_of_a_list_item_is_no_block(self):
        self.passes('''
            |10. Text of the item
            |
            |    make sure that this is text
            |''')

    def test_lines_of_a_paragraph_are_no_block(self):
        self.passes('''
            |Text that goes on
            |    make sure that this is text
            |''')

    def test_listings_code_and_running_text_are_left_alone(self):
        self.passes('''
            |Start it by `./run`, then `isam info`.
            |
            |    src/api    calls
            |
            |```c
            |make();
            |```
            |```text
            |3 records
            |```
            |<!--
            |    make nothing
            |-->''')

    def test_a_named_step_exempts(self):
        self.passes('''
            |<!-- runs: release - the gate begins with it -->
            |```sh
            |./test
            |```
            |
            |<!-- runs: bench, .ci/run - half an hour -->
            |
            |    bench/run
            |''')

    def test_an_exempted_console_block_is_not_run(self):
        self.passes('''
            |<!-- runs: faults - takes hours -->
            |```console
            |$ false
            |```''')

    def test_a_name_that_is_none_is_found(self):
        self.fails('''
            |<!-- runs: rehearsal - there is no such step -->
            |```console
            |$ false
            |```''', 2, 'names rehearsal')

    def test_an_exemption_without_a_reason_is_found(self):
        self.fails('''
            |<!-- runs: release -->
            |```console
            |$ false
            |```''', 2, 'NAME - reason')

    def test_an_exemption_goes_for_the_next_block_alone(self):
        self.fails('''
            |<!-- runs: release - reason -->
            |```sh
            |./test
            |```
            |```sh
            |./test
            |```''', 5, 'nothing runs it')

    def test_tests_are_looked_up_in_a_build(self):
        with open(os.path.join(self.directory, 'CTestTestfile.cmake'), 'w', encoding='utf-8') as file:
            file.write('add_test(release/model/0 true)\n')
        exempted = '''
            |<!-- runs: {} - reason -->
            |```sh
            |./model
            |```'''
        for name in ('release/model/0', 'model/0', 'asan/model/1'):  # the last one: of a build that is not this
            self.passes(exempted.format(name), '--build', self.directory)
        for name in ('release/model/1', 'model/1', 'other/model/0'):
            status, output = self.run_page(exempted.format(name), '--build', self.directory)
            self.assertEqual(status, 1)
            self.assertIn('names ' + name, output)


class Links(WithPages):
    def test_a_link_to_a_missing_file_is_found(self):
        self.fails('''
            |Text, and a [link](nowhere.md).''', 1, 'leads nowhere: nowhere.md')

    def test_a_link_to_a_missing_heading_is_found(self):
        self.fails('''
            |# Title
            |See [here](#other) or [there](page.md#title).''', 2, 'leads nowhere: #other', '1 wrong')

    def test_links_that_lead_somewhere_pass(self):
        self.passes('''
            |# The `first`, and [other](page.md) Title
            |[up](#the-first-and-other-title) [page](page.md) [net](https://example.org/x) `[code](no.md)`
            |```c
            |a[i](b);
            |```''')


class Update(WithPages):
    def test_what_differs_is_renewed_and_what_fits_stays(self):
        self.passes('''
            |- item
            |
            |  ```console
            |  $ echo process $$; seq 1 5; echo end
            |  process …
            |  1
            |  2
            |  ...
            |  5
            |  ende
            |
            |  $ echo next
            |  ```
            |''', '--update')
        self.assertEqual(self.page(), page_of('''
            |- item
            |
            |  ```console
            |  $ echo process $$; seq 1 5; echo end
            |  process …
            |  1
            |  2
            |  ...
            |  5
            |  end
            |
            |  $ echo next
            |  next
            |  ```
            |'''))

    def test_a_failing_command_still_fails(self):
        status, _ = self.run_page('''
            |```console
            |$ echo new; false
            |old
            |```''', '--update')
        self.assertEqual(status, 1)
        self.assertIn('old', self.page())

    def test_a_renewed_page_passes(self):
        text = '''
            |```console
            |$ seq 1 3; seq 10 30; echo
            |2
            |...
            |...
            |9…
            |```'''
        self.passes(text, '--update')
        done = subprocess.run([RUN, self.path], capture_output=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout)


class Comparison(unittest.TestCase):
    def test_any_text_is_within_one_line(self):
        self.assertTrue(fits('a…c', 'abc'))
        self.assertTrue(fits('a…c', 'ac'))
        self.assertTrue(fits('…', ''))
        self.assertFalse(fits('a…c', 'abd'))
        self.assertFalse(fits('a.c', 'abc'))

    def test_any_lines_may_be_none(self):
        self.assertIsNone(first_difference(['a', '...', 'b'], ['a', 'b']))
        self.assertIsNone(first_difference(['...'], []))
        self.assertIsNone(first_difference(['...', 'b', '...'], ['b', 'b', 'c']))

    def test_any_lines_do_not_hide_what_follows(self):
        self.assertEqual(first_difference(['a', '...', 'c'], ['a', 'b', 'd']), (2, 'c', 'd'))

    def test_blanks_at_ends_do_not_count(self):
        self.assertIsNone(first_difference(['a', ''], ['a  ', '', '']))
        self.assertIsNotNone(first_difference(['a', '', 'b'], ['a', 'b']))

    def test_renewed_keeps_the_patterns_that_fit(self):
        self.assertEqual(renewed(['a…', '...', 'x'], ['ab', 'c', 'd', 'y']), ['a…', '...', 'y'])


class Reading(unittest.TestCase):
    def test_fences_of_both_kinds_and_any_length(self):
        found = blocks(['~~~~ c one.c', '```', '~~~', '~~~~', '', '    code'])
        self.assertEqual([(block.language, block.file, block.lines) for block in found],
                         [('c', 'one.c', ['```', '~~~']), ('indented', '', ['code'])])

    def test_output_may_begin_with_a_bracket_behind_other_output(self):
        found = commands(blocks(['```console', '$ a', '> b', 'c', '> d', '```'])[0])
        self.assertEqual([(command.text, command.output) for command in found], [('a\nb', ['c', '> d'])])

    def test_an_open_fence_is_an_error(self):
        with self.assertRaises(PageError):
            blocks(['```'])


if __name__ == '__main__':
    unittest.main()
