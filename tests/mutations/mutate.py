"""Puts the faults of mutations.toml into the code, one at a time; see run."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import tomllib

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
COPY = ROOT / 'build/mutations'
BUILD = COPY / 'build/dev'
TIMEOUT = 120


def fail(text):
    print(f'mutations: {text}', file=sys.stderr)
    sys.exit(10)


def run(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors='replace', **options)


def run_or_fail(*command, **options):
    done = run(*command, **options)
    if done.returncode != 0:
        fail(f'{" ".join(map(str, command))} failed:\n{done.stdout}')
    return done.stdout


def write_if_changed(target, content, mode):
    if not target.is_file() or target.read_bytes() != content:
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(content)
        target.chmod(mode)


def copy_sources():
    """Keeps the times of files that are as they were, so that only what has changed is built."""
    listed = run_or_fail('git', '-C', ROOT, 'ls-files', '--cached', '--others', '--exclude-standard', '-z').split('\0')
    names = {name for name in listed if (ROOT / name).is_file()}
    for name in names:
        write_if_changed(COPY / name, (ROOT / name).read_bytes(), (ROOT / name).stat().st_mode)
    for folder, folders, files in os.walk(COPY):
        if pathlib.Path(folder) == COPY:
            folders[:] = [name for name in folders if name != 'build']
        for name in files:
            file = pathlib.Path(folder) / name
            if str(file.relative_to(COPY)) not in names:
                file.unlink()


def configure():
    run_or_fail('cmake', '-S', COPY, '--preset', 'dev', cwd=COPY)


def programs_by_source():
    """The test program of each source, by its path within the repository."""
    programs = {}
    for line in (BUILD / 'test_programs.txt').read_text().splitlines():
        program, _, sources = line.split('\t')
        for source in sources.split():
            programs[os.path.relpath(source, COPY)] = program
    return programs


def build(programs):
    return run('cmake', '--build', BUILD, '--target', *sorted(programs))


def sources_of_tests(program, pattern):
    """The sources, by their paths within the repository, that have a test that `pattern` selects."""
    with tempfile.NamedTemporaryFile(suffix='.json') as listed:
        run_or_fail(BUILD / 'bin' / program, '--gtest_list_tests', f'--gtest_filter={pattern}',
                    f'--gtest_output=json:{listed.name}', cwd=BUILD)
        suites = json.load(listed)['testsuites']
    return {os.path.relpath(BUILD / test['file'], COPY) for suite in suites for test in suite['testsuite']}


def check_filter(mutation, program):
    """Fails when a part of the filter selects no test of the source that the mutation names."""
    for pattern in mutation.get('filter', '*').split(':'):
        if mutation['test'] not in sources_of_tests(program, pattern):
            fail(f'{mutation["name"]}: {mutation["test"]} has no test {pattern}.')


def tests_fail(program, pattern):
    """Whether a test that `pattern` selects fails, crashes or hangs."""
    command = [BUILD / 'bin' / program, f'--gtest_filter={pattern}', '--gtest_fail_fast']
    try:
        done = run(*command, timeout=TIMEOUT, cwd=BUILD)
    except subprocess.TimeoutExpired:
        return True
    return done.returncode != 0


def check_unmutated(mutations, programs):
    """Tests that fail without a fault would notice everything."""
    done = build(set(programs.values()))
    if done.returncode != 0:
        fail(f'building failed:\n{done.stdout}')
    for mutation in mutations:
        check_filter(mutation, programs[mutation['test']])
    for test, pattern in sorted({(mutation['test'], mutation.get('filter', '*')) for mutation in mutations}):
        if tests_fail(programs[test], pattern):
            fail(f'{test}, {pattern}, fails without any fault.')


def mutated(mutation, text):
    if text.count(mutation['from']) != 1:
        fail(f'{mutation["name"]}: {mutation["file"]} must have this once; bring mutations.toml up to date:\n'
             f'{mutation["from"]}')
    return text.replace(mutation['from'], mutation['to'])


def outcome_of(mutation, program):
    file = COPY / mutation['file']
    original = file.read_text()
    try:
        file.write_text(mutated(mutation, original))
        done = build({program})
        if done.returncode != 0:
            print(done.stdout, file=sys.stderr)
            return 'NOT BUILT'
        return 'noticed' if tests_fail(program, mutation.get('filter', '*')) else 'NOT NOTICED'
    finally:
        file.write_text(original)


def wanted_mutations():
    every = tomllib.loads((ROOT / 'tests/mutations/mutations.toml').read_text())['mutation']
    names = tuple(sys.argv[1:])
    mutations = [mutation for mutation in every if not names or mutation['name'].startswith(names)]
    if not mutations:
        fail(f'there is no mutation {" ".join(names)}.')
    for mutation in mutations:
        mutated(mutation, (ROOT / mutation['file']).read_text())
    return mutations


def programs_of(mutations):
    known = programs_by_source()
    for mutation in mutations:
        if mutation['test'] not in known:
            fail(f'{mutation["name"]}: no test program is built from {mutation["test"]}.')
    return {mutation['test']: known[mutation['test']] for mutation in mutations}


def main():
    mutations = wanted_mutations()
    copy_sources()
    configure()
    programs = programs_of(mutations)
    check_unmutated(mutations, programs)
    missed = []
    for mutation in mutations:
        outcome = outcome_of(mutation, programs[mutation['test']])
        print(f'{outcome:12}{mutation["name"]}', flush=True)
        missed += [] if outcome == 'noticed' else [mutation['name']]
    if missed:
        print(f'{len(missed)} of {len(mutations)} faults were not noticed: {", ".join(missed)}')
        sys.exit(1)
    print(f'All {len(mutations)} faults were noticed.')


if __name__ == '__main__':
    main()
