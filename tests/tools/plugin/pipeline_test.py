"""Runs the jobs of docs/examples/gitlab-ci.yml with the examples beside it."""

import os
import pathlib
import shutil
import subprocess
import xml.etree.ElementTree

import pytest
import yaml

EXAMPLES = pathlib.Path(__file__).parents[3] / "docs" / "examples"
JOB = yaml.safe_load((EXAMPLES / "gitlab-ci.yml").read_text())["subtitle"]
TESTS = [name for row in JOB["parallel"]["matrix"] for name in row["TESTS"]]


@pytest.fixture(name="run_job")
def runner(tmp_path, programs):
    """A function that runs a job; it returns the exit status and the root of JUnit's file."""

    def run(tests):
        options = "-p no:cacheprovider --basetemp=base"
        environment = {"PYTEST_ADDOPTS": options, "TESTS": tests}
        environment["PATH"] = programs + os.pathsep + os.environ["PATH"]
        # One worker: eight would only cost time here.
        script = "\n".join(["set -eu", *JOB["script"]]).replace("-n 8", "-n 1")
        status = subprocess.run(
            ["sh", "-c", script], cwd=tmp_path, env={**os.environ, **environment}, check=False
        ).returncode
        report = tmp_path / JOB["artifacts"]["reports"]["junit"]
        return status, xml.etree.ElementTree.parse(report).getroot()[0]

    return run


def test_matrix_has_all_examples():
    assert sorted(TESTS) == sorted(path.name for path in EXAMPLES.glob("test_*.py"))


@pytest.mark.parametrize("tests", TESTS)
def test_job_passes(run_job, tests, tmp_path):
    shutil.copy(EXAMPLES / tests, tmp_path)
    status, report = run_job(tests)
    assert status == 0
    assert int(report.get("tests")) > 0
    assert report.get("failures") == report.get("errors") == "0"


def test_failed_job_has_a_report_and_files(run_job, tmp_path):
    (tmp_path / "test_bad.py").write_text("def test_it(subtitle_service): assert False")
    status, report = run_job("test_bad.py")
    assert status == 1
    assert "state of the service" in report[0][0].text
    (kept,) = JOB["artifacts"]["paths"]
    assert list((tmp_path / kept / "test_bad.py_test_it").glob("recording*"))


def test_preparation_names_packages():
    *words, packages = JOB["before_script"][-1].split()
    assert words[:2] == ["apt-get", "install"] and packages == "./packages/*.deb"
    names = [word for word in words[2:] if not word.startswith("-")]
    for name in names:
        assert subprocess.run(["dpkg-query", "-W", name], check=True, capture_output=True)
