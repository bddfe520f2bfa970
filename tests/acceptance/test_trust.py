# SPDX-License-Identifier: Apache-2.0
"""cloudclientctl trust: the certificate of a service, and its key in the policy."""

import json
import os
import re
import subprocess
import threading

import pytest

from harness.recorder import Recorder
from harness.waiting import DEADLINE
from harness.wire import Server, pin_of, tls_context

ENABLED = "cloudclient is now registered for device changes"
OTHER = "sha256//" + 43 * "A" + "="


@pytest.fixture
def named(folder):
    """A service whose certificate names its host."""
    server = Recorder(tls_context(folder, "-addext",
                                  "subjectAltName=DNS:localhost,DNS:*.example.org,IP:192.0.2.7,"
                                  "IP:2001:db8::7,URI:https://example.org"))
    server.url = server.url.replace("127.0.0.1", "localhost")
    yield server
    server.close()


class Mute(Server):
    """Takes connections and says nothing, or this, whatever it is told."""

    def __init__(self, said=b""):
        self._said = said
        super().__init__()
        self.url = self.url.replace("http:", "https:")

    def _serve(self, link):
        if self._said:
            link.recv(65536)
            link.sendall(self._said)
        while link.recv(65536):
            pass


@pytest.fixture
def mute():
    servers = []

    def start(said=b""):
        servers.append(Mute(said))
        return servers[-1]
    yield start
    for server in servers:
        server.close()


def openssl(certificate, *options):
    return subprocess.run(["openssl", "x509", "-in", certificate, "-noout", *options], check=True,
                          capture_output=True, text=True).stdout.strip()


def policy_of(daemon):
    return json.loads(daemon.path("policy.json").read_text())


def test_certificate_is_shown_and_nothing_is_asked_or_written(ctl, daemon, named, folder):
    certificate = folder / "server.pem"
    ended = ctl.run("trust", named.url)
    assert ended.returncode == 1
    assert ended.stderr.decode() == (
        "cloudclientctl: nothing is written: nobody can be asked here; --yes if the key is to be "
        "pinned\n")
    shown = dict(re.split(r" {1,13}(?=\S+|no: )", line, maxsplit=1)
                 for line in ended.stdout.decode().replace("vouched for", "vouched_for")
                 .replace("of this host", "of_this_host").splitlines())
    dates = [line.partition("=")[2] for line in
             openssl(certificate, "-dates", "-dateopt", "iso_8601").splitlines()]
    assert shown == {
        "service": named.url.removeprefix("https://"),
        "subject": "CN=server",
        "names": "DNS:localhost, DNS:*.example.org, IP:192.0.2.7, IP:2001:db8::7",
        "issuer": "CN=server",
        "from": dates[0].replace(" ", "T"), "until": dates[1].replace(" ", "T"),
        "fingerprint": openssl(certificate, "-fingerprint", "-sha256").partition("=")[2],
        "pin": pin_of(certificate.read_text()),
        "vouched_for": "no: self-signed certificate",
        "of_this_host": "yes",
    }
    assert named.requests() == []
    assert not daemon.path("policy.json").exists()


def test_certificate_for_scripts(ctl, daemon, named, folder):
    ended = ctl.run("--json", "trust", named.url)
    assert ended.returncode == 1
    told = json.loads(ended.stdout)
    assert told["names"] == ["DNS:localhost", "DNS:*.example.org", "IP:192.0.2.7",
                             "IP:2001:db8::7"]
    assert told["pin"] == pin_of((folder / "server.pem").read_text())
    assert (told["vouchedFor"], told["storeProblem"]) == (False, "self-signed certificate")
    assert told["ofThisHost"] is True
    assert (told["pinnedBefore"], told["written"]) == ([], False)
    assert told["file"] == str(daemon.path("policy.json"))
    told = ctl.tells("trust", named.url, "--yes")
    assert told["written"] is True
    told = ctl.tells("trust", named.url)
    assert (told["pinnedBefore"], told["written"]) == ([told["pin"]], False)


def test_host_that_the_certificate_does_not_name_is_told(ctl, named):
    url = named.url.replace("localhost", "127.0.0.1")
    told = json.loads(ctl.run("--json", "trust", url).stdout)
    assert told["ofThisHost"] is False
    assert "of this host no: it does not name 127.0.0.1\n" in ctl.run("trust", url).stdout.decode()


def test_certificate_that_the_systems_store_vouches_for(ctl, named, folder):
    ctl.environment["SSL_CERT_FILE"] = str(folder / "server.pem")
    assert "\nvouched for  yes\n" in ctl.run("trust", named.url).stdout.decode()


def test_certificate_whose_time_is_over(ctl, folder):
    context = tls_context(folder)
    # The same key under a certificate of the past.
    subprocess.run(["openssl", "x509", "-in", folder / "server.pem", "-signkey",
                    folder / "server.key", "-days", "-1", "-out", folder / "old.pem"], check=True,
                   capture_output=True)
    context.load_cert_chain(folder / "old.pem", folder / "server.key")
    recorder = Recorder(context)
    try:
        ctl.environment["SSL_CERT_FILE"] = str(folder / "old.pem")
        told = json.loads(ctl.run("--json", "trust", recorder.url).stdout)
        assert told["storeProblem"] == "certificate has expired"
    finally:
        recorder.close()


@pytest.mark.smoke
def test_daemon_runs_with_the_pin_that_was_written(ctl, daemon, device, service):
    service.start()
    daemon.write("policy.json", {"Queues": {"Most": 5000}})
    daemon.path("policy.json").chmod(0o640)
    told = ctl.does("trust", service.url, "--yes")
    assert told.endswith(f"pinned in {daemon.path('policy.json')}: restart the daemon\n")
    assert list(policy_of(daemon)) == ["Queues", "Transport"]
    assert daemon.path("policy.json").stat().st_mode & 0o777 == 0o640
    assert ctl.does("policy", "check") == f"{daemon.path('policy.json')}: nothing found\n"
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    service.heartbeats(daemon.token, 1)


def test_daemon_refuses_another_key_than_the_one_that_was_pinned(ctl, daemon, device, service,
                                                                 tls_recorder):
    ctl.does("trust", tls_recorder.url, "--yes")
    service.start()
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs("Cloud Service is not available at this time(8)")
    assert daemon.logged("failed (curlres: 90 - ")


def test_key_that_is_pinned_already_is_left_at_that(ctl, daemon, named, folder):
    pin = pin_of((folder / "server.pem").read_text())
    text = json.dumps({"Transport": {"PinnedPublicKey": [OTHER, pin]}})
    daemon.write("policy.json", text)
    told = ctl.does("trust", named.url)
    assert f"\npinned now   {OTHER}\n" in told
    assert told.endswith("\nthe key is pinned already; nothing is written\n")
    assert daemon.path("policy.json").read_text() == text


def test_pin_takes_the_place_of_another_or_stands_beside_it(ctl, daemon, named, folder):
    pin = pin_of((folder / "server.pem").read_text())
    for options, pins in ((["--add"], [OTHER, pin]), ([], pin)):
        daemon.write("policy.json", {"Transport": {"PinnedPublicKey": OTHER, "HostOfUrl": True}})
        assert f"\npinned now   {OTHER}\n" in ctl.does("trust", named.url, "--yes", *options)
        assert policy_of(daemon)["Transport"] == {"PinnedPublicKey": pins, "HostOfUrl": True}


@pytest.mark.parametrize("typed, written", [(b"y\n", True), (b"yes\n", True), (b"n\n", False),
                                            (b"\n", False), (b"\x04", False)],
                         ids=["y", "yes", "n", "empty", "end"])
def test_person_is_asked(ctl, daemon, named, typed, written):
    daemon.write("policy.json", {"Transport": {"PinnedPublicKey": OTHER}})
    master, slave = os.openpty()
    asked = f"Pin this key in {daemon.path('policy.json')} in place of what is pinned? [y/N] "
    seen = []

    def answers():
        shown = b""
        while not shown.endswith(b"[y/N] "):
            shown += os.read(master, 1000)
        seen.append(shown.decode())
        os.write(master, typed)
    person = threading.Thread(target=answers)
    person.start()
    ended = subprocess.run([*ctl.command, "trust", named.url], stdin=slave, stdout=subprocess.PIPE,
                           stderr=slave, env=ctl.environment, timeout=DEADLINE)
    person.join()
    os.close(slave)
    os.close(master)
    assert seen == [asked]
    assert ended.returncode == (0 if written else 1)
    assert (policy_of(daemon)["Transport"]["PinnedPublicKey"] != OTHER) == written


def test_file_that_is_no_policy_is_named_and_left(ctl, daemon, named):
    daemon.write("policy.json", '{"Preset": "hardned"}')
    assert ctl.refuses(1, "trust", named.url, "--yes") == (
        f'{daemon.path("policy.json")}: line 1, column 12: "Preset" is none of "hardened"')
    assert daemon.path("policy.json").read_text() == '{"Preset": "hardned"}'
    assert named.connections() == 0


def test_service_that_is_not_there(ctl, nobody):
    where = nobody.url.removeprefix("http://")
    assert ctl.refuses(1, "trust", "https://" + where) == (
        f"no connection with {where}: Connection refused")
    assert ctl.refuses(1, "trust", "https://a..b") == "there is no host a..b"


def test_service_that_is_silent_is_given_up(ctl, mute):
    server = mute()
    assert ctl.refuses(1, "--timeout", "0.2", "trust", server.url) == (
        f"TLS with 127.0.0.1:{server.port} did not stand within 0.2 s")


@pytest.mark.parametrize("said, problem", [
    (b"HTTP/1.1 400 Bad Request\r\n\r\n", "what listens there speaks something else"),
    (b"220 mail.example.org\r\n", "what listens there speaks something else"),
], ids=["http", "other"])
def test_service_without_tls(ctl, mute, said, problem):
    server = mute(said)
    assert ctl.refuses(1, "trust", server.url) == f"no TLS at 127.0.0.1:{server.port}: {problem}"


def test_service_that_ends_the_connection(ctl, recorder):
    where = recorder.url.removeprefix("http://")
    assert ctl.refuses(1, "trust", "https://" + where) == (
        f"no TLS at {where}: the other side ended the connection")
    assert recorder.requests() == []


@pytest.mark.parametrize("url, problem", [
    ("http://127.0.0.1", "a service with a certificate has a URL that begins with https://"),
    ("https://", "'https://' names no host, or a port that is none")])
def test_url_that_names_no_service(ctl, url, problem):
    assert ctl.refuses(2, "trust", url) == problem
