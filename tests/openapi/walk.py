# SPDX-License-Identifier: MIT
"""Asks a running unit for everything that the description names, in every way that it names."""

import itertools
import pathlib

from daemon import SCRIPTS, Client, await_true
from description import METHODS
from discovery import Discovery, words
from judge import Record

INFO = "/system/info"
STATUS = "/system/status"
SNMP = "/system/info/oem-snmp"
WARNING = "/system/user-events/oem-warning"
ALERT = "/system/user-events/alerts/66128"
LOG = "/system/user-events/log"
DEBUG = "/system/debug"
RULES = "/system/debug/syslog-rules"
COMMANDS = "/system/oem/privileged-cmds"
TEST = "/example/test"
STATIC = "/example/test/static"
DYNAMIC = "/example/test/dynamic"

MAX_COMMANDS = 32
MAX_CHANNELS = 80
A_MEBIBYTE = "x" * 1048576

# Values of each type and around the limits, for every member of every body.
SAMPLES = (None, True, 0, -1, 1.5, 7, 127.5, 128, -2147483649, 2147483648, 4294967296, "", "text", "two words",
           "back\\", "a#b", "\x7f", [], ["text"], [7], ["x" * 129], {}, {"text": 7})
# In the place of `data`.
PAYLOADS = (None, True, 7, "text", [], ["text"])


class Walk:
    """Runs once, in the order of the functions below; `record` is what it has seen."""

    def __init__(self, unit, description, root):
        self.record = Record()
        self._unit = unit
        self._description = description
        self._client = Client(unit.port, self.record.exchanges)
        self._make_entries()
        self._discover(root)
        self._read_everything()
        self._try_other_methods()
        self._try_bodies()
        self._put_the_other_root_in_front()
        self._store_as_other_programs()
        self._delete_entries()
        self._make_report()
        self._fill_up()
        self._push()
        self._ask_without_the_right()
        self._write_without_the_bus()
        self._client.close()

    # What the other steps are made of.

    def _expect(self, exchange, *statuses):
        """Without this what follows would make no sense. All else is for the judge."""
        assert exchange.status in statuses, f"{exchange}\n{self._unit.output()}\n{self._unit.logs()}"
        return exchange

    def _send_example(self, method, path, name, *, template=None):
        value = self._description.examples(template or path, method)[name]
        return self._expect(self._client.send_json(method, path, value, example=name), 200, 201)

    def _send_examples(self, method, path, template, *, after_each=lambda: None):
        for name in self._description.examples(template, method):
            self._send_example(method, path, name, template=template)
            after_each()

    def _write(self, method, path, data, **more):
        return self._client.send_json(method, path, {"data": data}, **more)

    def _await_answer(self, path, status):
        await_true(lambda: self._client.get(path).status == status, f"{path} answers {status}")

    def _delete(self, path):
        self._expect(self._client.request("DELETE", path), 200, 202)
        self._await_answer(path, 404)

    # The steps.

    def _make_entries(self):
        """One at least of each kind."""
        self._client.get(WARNING)
        self._send_examples("PUT", WARNING, WARNING)
        self._send_example("PUT", WARNING, "raise")
        self._await_answer(ALERT, 200)
        self._await_answer(f"{LOG}/0", 200)
        self._send_example("POST", RULES, "rule")
        self._send_examples("POST", COMMANDS, COMMANDS)
        for name in SCRIPTS:
            self._expect(self._write("POST", COMMANDS, {"command": name}), 201)
        self._send_examples("POST", DYNAMIC, DYNAMIC)
        self._await_answer(f"{DYNAMIC}/1", 200)

    def _commands(self):
        return [entry["cmd_id"] for entry in self._client.get(COMMANDS).json()]

    def _entries(self):
        """A path for each template with a parameter that is there, and one that is not."""
        commands = self._commands()
        return {"/system/user-events/alerts/{ev_id}": (ALERT, "/system/user-events/alerts/1"),
                LOG + "/{entry}": (f"{LOG}/0", f"{LOG}/499"),
                RULES + "/{rule_id}": (f"{RULES}/1", f"{RULES}/3"),
                COMMANDS + "/{cmd_id}": (f"{COMMANDS}/{commands[0]}", f"{COMMANDS}/1000"),
                STATIC + "/{id}": (f"{STATIC}/x", f"{STATIC}/w"),
                DYNAMIC + "/{id}": (f"{DYNAMIC}/1", f"{DYNAMIC}/1000"),
                "/system/subscriptions/{resource}": ("/system/subscriptions/system/status",
                                                     "/system/subscriptions/system/nowhere"),
                "/example/subscriptions/{resource}": ("/example/subscriptions/example",
                                                      "/example/subscriptions/system/status")}

    def _discover(self, root):
        asked = []
        client = Client(self._unit.port, asked)
        self.record.templates = Discovery(client, words(root)).templates
        client.close()
        self.record.exchanges += [exchange for exchange in asked if exchange.status != 404]  # most is not there

    def _read_everything(self):
        entries = self._entries()
        for template in self._description.paths:
            if template in ("/activity", "/publish"):
                continue
            for path in entries.get(template, (template,)):
                self._client.get(path)
        for path in (f"{LOG}/500", f"{RULES}/4"):
            self._client.get(path)

    def _try_other_methods(self):
        entries = self._entries()
        for template, method in itertools.product(self._description.paths, METHODS):
            if self._description.operation(template, method) is None:
                for path in entries.get(template, (template,)):
                    # Whoever asks for a push channel waits if nothing is there.
                    query = "?channel=other" if template in ("/activity", "/publish") else ""
                    if template == "/activity":
                        self._publish(query, {})
                    self._client.request(method, path, query=query)

    def _try_bodies(self):
        self._subscribe()
        self._try_every_value("PUT", SNMP)
        self._try_every_value("PUT", TEST)
        self._try_every_value("PUT", f"{STATIC}/x", STATIC + "/{id}")
        self._try_every_value("PUT", f"{DYNAMIC}/1", DYNAMIC + "/{id}")
        self._try_every_value("PUT", f"{RULES}/1", RULES + "/{rule_id}")
        self._try_every_value("PUT", DEBUG, beside="both")
        self._try_every_value("POST", DYNAMIC)
        self._try_every_value("POST", RULES, after_created=self._keep_one_rule)
        self._try_every_value("POST", COMMANDS, beside="words", after_created=self._delete_newest_command)
        # Much that could change the warning would change nothing: its refusals say little of the body.
        self._try_every_value("PUT", WARNING, depends_on_state=True)
        self._send_examples("PUT", SNMP, SNMP)
        self._send_examples("PUT", TEST, TEST)
        for name in ("preventReboot", "disableWatchdog", "both"):
            self._send_example("PUT", DEBUG, name)
        for template in (STATIC + "/{id}", DYNAMIC + "/{id}", RULES + "/{rule_id}"):
            there, missing = self._entries()[template]
            self._send_examples("PUT", there, template)
            self._write("PUT", missing, {"abc": "text"})

    def _subscribe(self):
        for api, path in (("system", "system/status"), ("example", "example/test/dynamic/new")):
            template = f"/{api}/subscriptions/{{resource}}"
            subscription = f"/{api}/subscriptions/{path}"
            self._client.request("PUT", subscription)
            self._try_every_value("POST", subscription, template,
                                  after_created=lambda path=subscription: self._client.request("DELETE", path))
            self._send_examples("POST", subscription, template, after_each=lambda path=subscription: self._delete(path))
            self._expect(self._client.request("POST", subscription), 201)
            self._expect(self._client.request("POST", subscription), 409)
            self._client.request("POST", f"/{api}/subscriptions/{api}/nowhere")
            self._try_every_value("PUT", subscription, template)
            self._send_examples("PUT", subscription, template)
            self._client.get(f"/{api}/subscriptions")
            self._client.get(subscription)
            self._client.request("DELETE", f"/{api}/subscriptions")
            self._client.request("DELETE", subscription)
            # As a client sends it that is made from the description.
            self._expect(self._client.request("POST", subscription, target=f"/{api}/subscriptions/" +
                                              path.replace("/", "%2F")), 201)
            self._delete(subscription)

    def _try_every_value(self, method, path, template=None, *, beside=None, after_created=lambda: None, **marks):
        """Each member alone and in the place of one in an example, then what is no payload."""
        template = template or path
        examples = self._description.examples(template, method)
        example = examples[beside or next(iter(examples))]["data"]
        bodies = [{"data": {name: sample}} for name in self._members(template, method) for sample in SAMPLES]
        if not marks:
            bodies += [{"data": {**example, name: sample}} for name in [*self._members(template, method), "other"]
                       for sample in SAMPLES]
        bodies += [{"data": payload} for payload in PAYLOADS] + [{}, [], "text"]
        sent = [{"has_sent": True, "sent": body} for body in bodies]
        sent += [{"has_sent": True, "sent": text, "is_json": False} for text in ("{", '{"data": {}} more')] + [{}]
        for what in sent:
            if self._client.request(method, path, **what, **marks).status == 201:
                after_created()

    def _members(self, template, method):
        return sorted(_property_names(self._description.standalone(self._description.body(template, method)["schema"])))

    def _keep_one_rule(self):
        for rule in self._client.get(RULES).json()[1:]:
            self._delete(f"{RULES}/{rule['rule_id']}")

    def _delete_newest_command(self):
        self._delete(f"{COMMANDS}/{max(self._commands())}")

    def _put_the_other_root_in_front(self):
        """It is passed over, for writing as well."""
        for root in ("/system", "/system/subscriptions"):
            self._expect(self._client.get(TEST, front=root), 200)
            self._expect(self._write("PUT", TEST, {"a": root}, front=root), 200)
            self._expect(self._write("POST", DYNAMIC, {"def": root}, front=root), 201)
            self._expect(self._write("PUT", f"{STATIC}/y", {"abc": root, "def": root}, front=root), 200)
            self._expect(self._client.request("DELETE", f"{STATIC}/y", front=root), 405)
            await_true(lambda root=root: self._client.get(f"{STATIC}/y").json()["def"] == root, f"y tells {root}")
        self._client.get(DYNAMIC)

    def _store_as_other_programs(self):
        """Values of the types that no request writes, and states of the unit."""
        stored = {SNMP: ("ram.system.oemsnmp", dict.fromkeys(self._members(SNMP, "PUT"), 7) | {"sys_services": "text"}),
                  TEST: ("ram.system.test", {"a": 7, "b": 7, "c": "text"})}
        for path, (prefix, values) in stored.items():
            for name, value in values.items():
                self._unit.store(f"{prefix}.{name}", value, "int" if isinstance(value, int) else "string")
            await_true(lambda path=path, values=values: self._client.get(path).json() == values, f"{path} is {values}")
        for word in ("selector", "action"):
            self._unit.store(f"cfg.api.syslog.3.{word}", "text", "string")
            self._await_answer(f"{RULES}/3", 200)
            self._delete(f"{RULES}/3")
        self._show_every_state("system_status", "ram.status.system", 10)
        self._show_every_state("reset_pressed", "ram.status.system.reset_button.reset_pressed", 3)

    def _show_every_state(self, member, key, last):
        """Over and over: the stand-in for the terminal writes the key as well."""
        shown = set()

        def are_shown():
            for number in range(last + 1):
                self._unit.store(key, number, "int")
                shown.add(self._client.get(STATUS).json()[member])
            return len(shown) > last

        await_true(are_shown, f"{member} tells each of its states")

    def _delete_entries(self):
        for template in (RULES + "/{rule_id}", DYNAMIC + "/{id}", COMMANDS + "/{cmd_id}"):
            there, missing = self._entries()[template]
            self._delete(there)
            self._expect(self._client.request("DELETE", missing), 404)
        self._client.request("DELETE", RULES)
        self._client.request("DELETE", DYNAMIC)
        for collection in (RULES, DYNAMIC):
            await_true(lambda path=collection: self._client.get(path).json() == [], f"{collection} is empty")

    def _make_report(self):
        self._send_example("PUT", DEBUG, "report")
        await_true(lambda: self._client.get(DEBUG).json()["diagnostic_report"] is not None, "the report is made")
        pathlib.Path(self._client.get(DEBUG).json()["diagnostic_report"]).unlink(missing_ok=True)
        pathlib.Path("/tmp/ip.txt").unlink(missing_ok=True)

    def _fill_up(self):
        self._write("PUT", WARNING, {"state": "ON"})
        self._expect(self._write("PUT", WARNING, {"state": "ON"}), 409)
        for slot in range(4):
            last = self._write("POST", RULES, {"selector": f"local{slot}.*", "action": "/var/log/local"})
        self._expect(last, 409)
        self._expect(self._write("POST", DYNAMIC, {"abc": A_MEBIBYTE}, depends_on_state=True), 500)
        while (last := self._write("POST", COMMANDS, {"command": "ip"})).status == 201:
            pass
        self._expect(last, 409)
        assert len(self._commands()) == MAX_COMMANDS

    def _publish(self, query, event, method="POST", **headers):
        return self._client.send_json(method, "/publish", event, query=query,
                                      headers={"Content-Type": "application/json", **headers})

    def _push(self):
        for method in ("POST", "PUT"):
            for name, event in self._description.examples("/publish", method).items():
                self._client.send_json(method, "/publish", event, query="?channel=walk", example=name,
                                       headers={"Content-Type": "application/json"})
            self._client.send_json(method, "/publish", {}, query="?other=walk", depends_on_state=True,
                                   headers={"Content-Type": "application/json"})
            self._client.send_json(method, "/publish", {}, query="?channel=walk")
            self._client.request(method, "/publish", query="?channel=walk",
                                 headers={"Content-Type": "application/json"})
            stranger = Client(self._unit.port, self.record.exchanges, source="127.0.0.2")
            stranger.send_json(method, "/publish", {}, query="?channel=walk",
                               headers={"Content-Type": "application/json"})
            stranger.close()
        self._client.get("/activity", query="?channel=walk&fromId=0")
        self._client.get("/activity", query="?channel=")
        self._wait_for_an_event()
        for number in range(MAX_CHANNELS):
            self._publish(f"?channel=c{number}", {})
        self._client.get("/activity", query="?channel=one-too-many")

    def _wait_for_an_event(self):
        self._publish("?channel=walk", {})  # the last one so far, and one that tells its id
        seen = max(event["id"] for event in self._client.get("/activity", query="?channel=walk").json()
                   ["settings-update"] if isinstance(event, dict))
        waiting = Client(self._unit.port, self.record.exchanges)
        waiting.send("GET", f"/activity?channel=walk&fromId={seen}")
        # Whether it waits already cannot be asked: the daemon needs a turn of its loop for the connection and one for
        # the request, and takes a turn for each of these.
        for _ in range(10):
            self._client.get(INFO)
        headers = {"Etag": '"17"', "Last-Modified": "Sat, 21 Nov 2026 19:50:09 GMT"}
        self._publish("?channel=walk", {"hello": "world"}, **headers)
        waiting.receive("GET", "/activity")
        waiting.close()

    def _ask_without_the_right(self):
        """No rule of the access map begins like this, and what stands in front of a path opens nothing."""
        client = Client(self._unit.port, self.record.exchanges)
        entries = self._entries()
        for template, method, _ in self._description.operations():
            if template not in ("/activity", "/publish"):
                self._expect(client.request(method, entries.get(template, (template,))[0], front="/closed"), 401)
        client.close()

    def _write_without_the_bus(self):
        self._keep_one_rule()
        self._write("POST", DYNAMIC, {"abc": "last"})
        await_true(lambda: self._client.get(DYNAMIC).json() != [], "an entry is there")
        entry = f"{DYNAMIC}/{self._client.get(DYNAMIC).json()[0]['id']}"
        self._unit.kill_bus()

        def write(method, path, data):
            return self._write(method, path, data, depends_on_state=True)

        await_true(lambda: write("PUT", TEST, {"a": "text"}).status == 500, "the bus is gone")
        write("PUT", SNMP, {"sys_name": "text"})
        write("PUT", f"{STATIC}/x", {"abc": "text"})
        write("PUT", entry, {"abc": "text"})
        write("POST", RULES, {"selector": "kern.info", "action": "/var/log/extra"})
        write("PUT", f"{RULES}/1", {"action": "/var/log/extra"})
        self._client.request("DELETE", entry)
        self._client.request("DELETE", DYNAMIC)


def _property_names(schema):
    """Those of `data`, wherever the schema keeps them."""
    names = set()

    def gather(node):
        if "$ref" in node:
            gather(schema["$defs"][node["$ref"].removeprefix("#/$defs/")])
        names.update(node.get("properties", {}))
        for part in node.get("allOf", []) + node.get("anyOf", []):
            gather(part)

    gather(schema["properties"]["data"])
    return names
