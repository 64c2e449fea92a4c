# SPDX-License-Identifier: MIT
"""Which resources the running daemon has.

It has no list of them, but it tells of any path whether it leads to a resource: then it can be subscribed, or a GET is
answered with something else than 404. Names of resources are literal texts of the program: each is tried below each
resource that is there.
"""

import pathlib
import re

SEGMENT = r"[0-9A-Za-z-]+"
NEW = "new"  # stands for an entry of every collection, and of nothing else


def words(root):
    """Every literal text in the daemon's sources that can be a segment of a path, or is one between slashes."""
    found = set()
    for file in sorted(pathlib.Path(root, "src").rglob("*")):
        if file.suffix in (".cpp", ".h"):
            for literal in re.findall(r'"((?:[^"\\\n]|\\.)*)"', file.read_text(encoding="utf-8")):
                found.update(part for part in literal.split("/") if re.fullmatch(SEGMENT, part))
    return sorted(found)


class Discovery:
    """The templates of all resources, `*` for the name of an entry."""

    def __init__(self, client, names):
        self._client = client
        self._names = names
        self.roots = []
        self.templates = set()
        self._find_roots()
        for api in self._apis():
            self._find_below(api, f"/{api}", f"/{api}")
            self._find_subscriptions(api)

    def _find_roots(self):
        """What nothing serves has a page of its own. The query keeps a push channel from waiting."""
        for name in self._names:
            answer = self._client.get(f"/{name}", query="?channel=")
            if answer.status != 404 or answer.header("Content-Type") != "text/html":
                self.roots.append(name)

    def _apis(self):
        """Those of the roots with a tree of resources; the others are resources themselves."""
        apis = [name for name in self.roots if self._client.get(f"/{name}/subscriptions").status == 200]
        self.templates.update(f"/{name}" for name in self.roots if name not in apis)
        return apis

    def _is_there(self, api, path):
        # 409: an earlier question has subscribed it.
        return (self._client.request("POST", f"/{api}/subscriptions{path}").status in (201, 409)
                or self._client.get(path).status != 404)

    def _find_below(self, api, path, template):
        names = [name for name in self._names if self._is_there(api, f"{path}/{name}")]
        if NEW not in names:
            for name in names:
                self.templates.add(f"{template}/{name}")
                self._find_below(api, f"{path}/{name}", f"{template}/{name}")
            return
        # All entries are alike: one is looked below, and the one that there always is.
        candidates = sorted({*names, *self._listed(path)} - {NEW})
        entry = next((name for name in candidates if self._is_there(api, f"{path}/{name}")), None)
        if entry is not None:
            self.templates.add(f"{template}/*")
        for name in (entry, NEW) if entry is not None else (NEW,):
            self._find_below(api, f"{path}/{name}", f"{template}/*")

    def _listed(self, path):
        """What may be names of entries: an entry tells its own, mostly."""
        answer = self._client.get(path)
        entries = answer.json() if answer.status == 200 else []
        return [str(value) for entry in entries for value in entry.values() if re.fullmatch(SEGMENT, str(value))]

    def _find_subscriptions(self, api):
        """Below them are the paths of resources, as often as anybody has subscribed one."""
        subscriptions = f"/{api}/subscriptions"
        if self._client.get(f"{subscriptions}/{api}").status == 404:
            self._client.request("POST", f"{subscriptions}/{api}")
        if self._client.get(f"{subscriptions}/{api}").status == 200:
            self.templates.add(f"{subscriptions}/*")
        self._client.request("DELETE", subscriptions)
