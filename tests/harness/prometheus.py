# SPDX-License-Identifier: Apache-2.0
"""Debian's Prometheus, which reads the metrics of a service."""

import json
import subprocess
import urllib.parse
import urllib.request

from .modbus import free_port
from .process import Process

ENVIRONMENT = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"}


def promtool(*words):
    """What the tool of Prometheus says, and whether it finds all well."""
    ended = subprocess.run(["promtool", *map(str, words)], env=ENVIRONMENT, text=True,
                           stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return ended.returncode == 0, ended.stdout


class Prometheus(Process):
    def __init__(self, folder, rules):
        super().__init__("prometheus", folder)
        self._rules = rules
        self._url = ""

    def start(self, service):
        """Reads the metrics of a service over plain HTTP each second."""
        target = service.url.removeprefix("http://")
        settings = self._folder / "prometheus.json"  # which is YAML, too
        settings.write_text(json.dumps({
            "global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
            "rule_files": [str(self._rules)],
            "scrape_configs": [{"job_name": "cloudservice", "static_configs": [{"targets": [target]}]}]}))
        port = free_port()
        self._url = f"http://127.0.0.1:{port}"
        self.launch(["prometheus", f"--config.file={settings}", f"--web.listen-address=127.0.0.1:{port}",
                     f"--storage.tsdb.path={self._folder / 'prometheus'}"], ENVIRONMENT)
        self.wait_until(self._answers, "an answer")
        return self

    def _answers(self):
        try:
            with urllib.request.urlopen(f"{self._url}/-/ready", timeout=60) as answer:
                return answer.status == 200
        except OSError:
            return False

    def _ask(self, path):
        with urllib.request.urlopen(self._url + path, timeout=60) as answer:
            return json.load(answer)["data"]

    def query(self, expression):
        """The series that an expression has now: their labels and values."""
        found = self._ask("/api/v1/query?" + urllib.parse.urlencode({"query": expression}))
        return [(one["metric"], float(one["value"][1])) for one in found["result"]]

    def rules(self):
        return [rule for group in self._ask("/api/v1/rules")["groups"] for rule in group["rules"]]
