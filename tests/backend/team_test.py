#!/usr/bin/python3
"""What the compose file describes, with processes in the place of containers: two backends that share a real Redis behind
a real load balancer, under load while one after another goes away; and the unit for systemd."""

import os
import re
import signal
import subprocess
import threading
import unittest

import yaml

from backend_case import (HEADERS, OWN_HOST, PROGRAM, Backend, BackendCase, free_address,  # first: it finds the others
                          listens_at, port_of, request_body)
import scripted_upstream
from virtual_desktop import first_line, wait_for

PACKAGING = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "packaging", "backend")
CREDENTIALS = "/run/credentials/quillora-backend.service"
UNIT = os.path.join(PACKAGING, "quillora-backend.service")
README = os.path.join(PACKAGING, "..", "..", "backend", "README.md")
MOST_EXPOSED = 2.0


class Team(Backend):
    """Asked by way of the balancer."""

    def __init__(self, address):
        self.scheme, self.address = "http", address


class ComposeTest(BackendCase):
    def setUp(self):
        super().setUp()
        self.upstream.on_question = lambda question: scripted_upstream.Answer(
            scripted_upstream.completion(question.text))
        with open(os.path.join(PACKAGING, "compose.yaml"), encoding="utf-8") as file:
            self.services = yaml.safe_load(file)["services"]
        self.addresses = {name: free_address() for name in self.services}
        self.start_redis()
        self.backends = {name: self.start_backend(name) for name in ("one", "two")}
        self.balancer = self.programs.start_daemon(
            ["haproxy", "-db", "-f", os.path.join(PACKAGING, "haproxy.cfg")], self.environment("balancer"))
        self.team = Team(self.addresses["balancer"])
        wait_for("the balancer", lambda: listens_at(self.addresses["balancer"]))
        made = subprocess.run([PROGRAM, "token", "add", "alice"], check=True, capture_output=True, text=True,
                              env={**self.programs.environment, **self.environment("one")})
        self.token = made.stdout.strip()
        wait_for("both backends", lambda: all(self.ask_one(name).status == 200 for name in self.backends))
        wait_for("the balancer's backends", lambda: self.translate("hello").status == 200)

    def environment(self, name):
        """What the file says, with the addresses of processes."""
        result = {}
        for key, value in self.services[name]["environment"].items():
            value = str(value).replace("${QUILLORA_BACKEND_UPSTREAM_URL}", self.upstream.url)
            value = re.sub(r"\$\{QUILLORA_BACKEND_UPSTREAM_(MODEL|KEY)(:-)?\}", "test", value)
            value = value.replace("/var/lib/quillora-backend/", f"{self.programs.folder}/{name}-")
            value = value.replace("0.0.0.0:8787", self.addresses[name])
            result[key] = re.sub(r"\b(one|two|redis):\d+", lambda match: self.addresses[match[1]], value)
        # One device asks for all.
        return {**result, "QUILLORA_BACKEND_LIMITS_DEVICE_PER_MINUTE": "1000000",
                "QUILLORA_BACKEND_LIMITS_TOKEN_PER_MINUTE": "1000000"} if name in ("one", "two") else result

    def start_redis(self):
        self.redis = self.programs.start_daemon([*self.services["redis"]["command"], "--bind", OWN_HOST, "--port",
                                                 str(port_of(self.addresses["redis"])), "--dir", self.programs.folder])
        wait_for("Redis", lambda: listens_at(self.addresses["redis"]))

    def start_backend(self, name):
        process = self.programs.start_daemon([PROGRAM, "serve"], self.environment(name), stdout=subprocess.PIPE)
        self.assertTrue(first_line(process).startswith(f"http://{OWN_HOST}:"))
        return process

    def ask_one(self, name):
        return Team(self.addresses[name]).translate("hello", token=self.token)

    def translate(self, text):
        return self.team.translate(text, token=self.token)

    def under_load(self, disturb):
        """Asks on four threads, with a new connection each time, until that is over; what was not answered."""
        stop = threading.Event()
        lost, counts = [], [0] * 4

        def ask(number):
            while not stop.is_set():
                text = f"text {number} {counts[number]}"
                answer = self.translate(text)
                if answer.status != 200 or answer.translation != text:
                    lost.append((answer.status, answer.body))
                counts[number] += 1

        threads = [threading.Thread(target=ask, args=(number,), daemon=True) for number in range(4)]
        for thread in threads:
            thread.start()

        def some_more():
            before = list(counts)
            wait_for("more answers", lambda: all(now > then + 10 for now, then in zip(counts, before)))

        some_more()
        disturb()
        some_more()
        stop.set()
        for thread in threads:
            thread.join(60)
        return lost

    def test_one_after_another_may_be_restarted_and_nothing_is_lost(self):
        def restart_both():
            for name in ("one", "two"):
                process = self.backends[name]
                self.programs.expect_end(process)
                os.kill(process.pid, signal.SIGTERM)
                self.assertEqual(process.wait(60), 0)
                self.start_backend(name)
                wait_for(name, lambda name=name: self.ask_one(name).status == 200)
        self.assertEqual(self.under_load(restart_both), [])

    def test_one_that_is_killed_costs_only_what_it_was_doing(self):
        lost = self.under_load(lambda: self.programs.kill(self.backends["one"]))
        self.assertLessEqual(len(lost), 4)  # one for each thread
        for status, body in lost:
            self.assertIn(status, (502, 503))
            self.assertIn(b'{"error":"', body)

    def test_redis_may_go_and_come_back(self):
        def restart_redis():
            self.programs.kill(self.redis)
            self.start_redis()  # with the file that outlived it
        self.assertEqual(self.under_load(restart_redis), [])
        self.assertEqual(self.team.translate("hello", token="unknown").status, 401)

    def test_who_leaves_takes_the_question_back_by_way_of_the_balancer_too(self):
        with scripted_upstream.Held(self.upstream):
            client = self.team.connection()
            question = self.question_of(lambda: client.request(
                "POST", "/v1/translate", request_body(), {**HEADERS, "Authorization": f"Bearer {self.token}"}))
            client.close()
            wait_for("the hang-up", question.is_taken_back)

    def test_nobody_outside_sees_the_metrics(self):
        self.assertEqual(self.team.get("/metrics").status, 404)

    def test_without_any_backend_a_person_reads_why(self):
        for process in self.backends.values():
            self.programs.kill(process)
        wait_for("the balancer's notice", lambda: self.translate("hello").status == 503)
        self.assertEqual(self.translate("hello").error, "The translation backend is not ready. Try again in a minute.")


class InstallationTest(BackendCase):
    def test_it_is_installed_by_itself_with_its_manual_and_its_unit(self):
        prefix = self.path("usr")
        self.programs.run(["cmake", "--install", os.path.dirname(PROGRAM), "--component", "backend", "--prefix", prefix])
        installed = [os.path.relpath(os.path.join(folder, name), prefix)
                     for folder, _, names in os.walk(prefix) for name in names]
        self.assertEqual(sorted(installed), ["bin/quillora-backend", "lib/systemd/system/quillora-backend.service",
                                             "share/man/man1/quillora-backend.1"])
        version = self.programs.run([os.path.join(prefix, "bin", "quillora-backend"), "--version"]).decode()
        self.assertRegex(version, r"\A\d+\.\d+\.\d+\n\Z")


class ReadmeTest(BackendCase):
    """What the page tells a team to do, as far as it can be done without systemd."""

    def setUp(self):
        super().setUp()
        with open(README, encoding="utf-8") as file:
            self.page = file.read()
        with open(UNIT, encoding="utf-8") as file:
            self.unit = file.read()
        self.told = re.search(r"```toml\n(.*?)```", self.page, re.S)[1]

    def test_the_configuration_of_the_page_serves_a_team(self):
        certificate, key = self.authority.issue("mine")
        os.mkdir(self.path("quillora-backend"))
        settings = self.told
        for told, here in ((f"{CREDENTIALS}/quillora-backend.certificate", certificate),
                           (f"{CREDENTIALS}/quillora-backend.private-key", key),
                           (f"{CREDENTIALS}/quillora-backend.upstream-key", self.write("upstream-key", "the-key\n")),
                           ("/var/lib/quillora-backend/tokens", self.path("quillora-backend/tokens")),
                           ("https://models.example.org/v1/chat/completions", self.upstream.url),
                           ("0.0.0.0:8787", f"{OWN_HOST}:0")):
            self.assertEqual(settings.count(f'"{told}"'), 1, told)
            settings = settings.replace(told, here)
        settings = self.write("team.toml", settings)
        backend = Backend(self.programs, settings, None)
        backend.trust = self.authority.trust()
        backend.trust.check_hostname = False
        self.assertEqual(backend.translate(token="none").status, 401)
        token = self.make_token(settings, "alice")  # after the first start
        wait_for("the token", lambda: backend.translate(token=token).status == 200)
        self.assertEqual(self.upstream.questions[-1].headers["Authorization"], "Bearer the-key")
        checked = self.run_program("--configuration", settings, "check")
        self.assertEqual((checked.returncode, checked.stderr), (0, ""))

    def test_the_page_the_configuration_and_the_unit_name_the_same_files(self):
        loaded = set(re.findall(r"^LoadCredential=(\S+)$", self.unit, re.M))
        self.assertEqual(set(re.findall(rf"{CREDENTIALS}/([\w.-]+)", self.told)),
                         set(re.findall(r"/etc/credstore/([\w.-]+)", self.page)))
        self.assertLess(set(re.findall(r"/etc/credstore/([\w.-]+)", self.page)), loaded)
        folder = re.search(r"^StateDirectory=(\S+)$", self.unit, re.M)[1]
        self.assertIn(f'file = "/var/lib/{folder}/tokens"', self.told)
        self.assertIn(f"/run/credentials/{os.path.basename(UNIT)}", CREDENTIALS)


class UnitTest(unittest.TestCase):
    def test_systemd_finds_no_fault_in_the_unit(self):
        said = subprocess.run(["systemd-analyze", "verify", "--man=no", UNIT], capture_output=True, text=True, check=False)
        self.assertEqual([line for line in said.stderr.splitlines()
                          if os.path.basename(UNIT) in line and "/usr/bin/quillora-backend" not in line], [])

    def test_the_unit_offers_no_reload_which_would_read_the_credentials_of_the_last_start(self):
        with open(UNIT, encoding="utf-8") as file:
            self.assertNotIn("ExecReload=", file.read())

    def test_the_unit_waits_for_longer_than_what_runs_may_take(self):
        with open(UNIT, encoding="utf-8") as file:
            self.assertGreater(int(re.search(r"^TimeoutStopSec=(\d+)$", file.read(), re.M)[1]), 45)

    def test_the_unit_exposes_little(self):
        said = subprocess.run(["systemd-analyze", "security", "--offline=yes", "--no-pager",
                               UNIT], capture_output=True, text=True,
                              env={**os.environ, "SYSTEMD_COLORS": "0"}, check=False).stdout
        level = float(re.search(r"Overall exposure level for .*: ([0-9.]+)", said)[1])
        self.assertLessEqual(level, MOST_EXPOSED)


if __name__ == "__main__":
    unittest.main()
