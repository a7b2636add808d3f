"""Runs the job of docs/examples/gitlab-ci.yml."""

import os
import pathlib
import subprocess
import xml.etree.ElementTree

import yaml

EXAMPLES = pathlib.Path(__file__).parents[3] / "docs" / "examples"
JOB = yaml.safe_load((EXAMPLES / "gitlab-ci.yml").read_text())["subtitle"]


def test_matrix_has_all_examples():
    tests = [name for row in JOB["parallel"]["matrix"] for name in row["TESTS"]]
    assert sorted(tests) == sorted(path.name for path in EXAMPLES.glob("test_*.py"))


def test_failed_job_has_a_report_and_files(tmp_path, programs):
    (tmp_path / "test_bad.py").write_text("def test_it(subtitle_service): assert False")
    environment = {
        **os.environ,
        "PATH": programs + os.pathsep + os.environ["PATH"],
        "PYTEST_ADDOPTS": "-p no:cacheprovider --basetemp=base",
        "TESTS": "test_bad.py",
    }
    # One worker: eight would only cost time here.
    script = "\n".join(["set -eu", *JOB["script"]]).replace("-n 8", "-n 1")
    job = subprocess.run(["sh", "-c", script], cwd=tmp_path, env=environment, check=False)
    assert job.returncode == 1
    report = xml.etree.ElementTree.parse(tmp_path / JOB["artifacts"]["reports"]["junit"])
    assert "state of the service" in next(report.iter("failure")).text
    (kept,) = JOB["artifacts"]["paths"]
    assert list((tmp_path / kept / "test_bad.py_test_it").glob("recording*"))


def test_preparation_names_packages():
    *words, packages = JOB["before_script"][-1].split()
    assert words[:2] == ["apt-get", "install"] and packages == "./packages/*.deb"
    names = [word for word in words[2:] if not word.startswith("-")]
    subprocess.run(["dpkg-query", "-W", *names], check=True, capture_output=True)
