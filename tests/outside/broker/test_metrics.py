"""The metrics of a service, judged by Prometheus' own checker."""

import subprocess

import pytest
from pytest_subtitle import Service, Workspace


@pytest.fixture(name="workspace")
def private_workspace(programs):
    with Workspace(programs) as workspace:
        yield workspace


def test_metrics_are_clean_under_promtool(workspace, programs):
    def control(*words):
        return subprocess.run(
            [programs / "SubtitleMgrCtl", *words],
            env=workspace.environment(),
            capture_output=True,
            text=True,
            timeout=60,
            check=True,
        ).stdout

    service = Service(workspace, ["--quiet", "--fault", "refuse request=RefreshRegions"])
    service.start()
    try:
        service.subscribe(10, 15133)
        for line in ("region-data 3 cif 00", "visibility 3 true", "palette 14 0 false -"):
            control(line)
        metrics = control("top", "--prometheus")
    finally:
        service.stop()
    for sample in (
        'subtitle_region_visible{service="SubtitleMgr",region="3"} 1\n',
        'subtitle_client_lost_total{service="SubtitleMgr",client="1"} 0\n',
        'subtitle_faults{service="SubtitleMgr"} 1\n',
    ):
        assert sample in metrics
    checked = subprocess.run(
        ["promtool", "check", "metrics"],
        input=metrics,
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    )
    assert (checked.returncode, checked.stdout, checked.stderr) == (0, "", "")
