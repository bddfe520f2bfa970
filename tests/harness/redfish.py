# SPDX-License-Identifier: Apache-2.0
"""A client of the service's that follows links and looks at what every answer promises."""

import contextlib
import http.client
import json
import re
import urllib.parse
import xml.etree.ElementTree as ElementTree

EDMX = "{http://docs.oasis-open.org/odata/ns/edmx}"
METHODS = ("GET", "HEAD", "OPTIONS", "POST", "PUT", "PATCH", "DELETE")


class Answer:
    def __init__(self, answer):
        self.status, self.headers, self.body = answer.status, answer.headers, answer.read()

    @property
    def json(self):
        return json.loads(self.body)

    def error(self):
        """The name of the registry's message, and its arguments."""
        error = self.json["error"]
        (info,) = error["@Message.ExtendedInfo"]
        assert info["@odata.type"] == "#Message.v1_1_1.Message"
        assert info["MessageId"] == error["code"] and info["Message"] == error["message"]
        registry, _, name = info["MessageId"].rpartition(".")
        assert registry == "Base.1.16"
        assert info["MessageSeverity"] in ("OK", "Warning", "Critical")
        return name, info["MessageArgs"]


class Client:
    """Asks over plain HTTP, with the token of one appliance."""

    def __init__(self, service, token=""):
        self._service, self.token = service, token

    def ask(self, method, path, body=None, **headers):
        fields = {name.replace("_", "-"): value for name, value in headers.items()}
        if self.token:
            fields.setdefault("X-Auth-Token", self.token)
        link = http.client.HTTPConnection("127.0.0.1", self._service.port, timeout=60)
        with contextlib.closing(link):
            link.request(method, path, body, fields)
            return Answer(link.getresponse())

    def get(self, path, **headers):
        return self.ask("GET", path, **headers)


def is_compact(text):
    """Whether a JSON text has no white space but in its strings."""
    return not re.search(rb"\s", re.sub(rb'"(?:[^"\\]|\\.)*"', b"", text))


def indented(document):
    return (json.dumps(document, indent=2, ensure_ascii=False) + "\n").encode()


def links(document):
    """The paths in a document that lead to other resources."""
    if isinstance(document, list):
        return [path for element in document for path in links(element)]
    if not isinstance(document, dict):
        return []
    own = document.get("@odata.id")
    found = [own] if own and "#" not in own else []
    return found + [path for member in document.values() for path in links(member)]


def documents(client, start="/redfish/v1/"):
    """Every resource that links lead to, with its answer, by path."""
    found, waiting = {}, [start]
    while waiting:
        path = waiting.pop()
        if path in found:
            continue
        answer = client.get(path)
        assert answer.status == 200, (path, answer.status)
        assert is_compact(answer.body), path
        found[path] = answer
        waiting += links(answer.json)
    return found


def namespaces(metadata):
    """The namespaces that a metadata document refers to, with the addresses of their files."""
    return {include.get("Namespace"): reference.get("Uri")
            for reference in ElementTree.fromstring(metadata).iter(f"{EDMX}Reference")
            for include in reference.iter(f"{EDMX}Include")}


def encoded(text):
    return urllib.parse.quote(text, safe="")
