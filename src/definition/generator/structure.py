"""The structure of the document: what there is, without its texts."""

import tomllib
from pathlib import Path

SETTING_ATTRIBUTES = {
    "text": {"maxlength"},
    "multiline_text": set(),
    "secret_text": set(),
    "selection": {"mode", "options"},
    "integer": {"minimum", "maximum"},
    "float": {"minimum", "maximum"},
}
COMMON_ATTRIBUTES = {"name", "type", "default", "depends_on", "flags"}


class StructureError(Exception):
    """A structure file contradicts itself."""


def _read(path: Path) -> dict:
    try:
        return tomllib.loads(path.read_text(encoding="utf-8"))
    except (OSError, ValueError) as error:
        raise StructureError(f"{path.name}: {error}") from error


class Structure:
    """The content of the structure folder, with the channels written out."""

    def __init__(self, folder: Path):
        self.module = _read(folder / "module.toml")
        sensors = _read(folder / "sensors.toml")
        self.sensors = sensors["sensors"]
        self.checks = sensors["checks"]
        self.sections = sensors["sections"]
        self.lookups = sensors["lookups"]
        self.groups = _read(folder / "groups.toml")
        self._channels = _read(folder / "channels.toml")
        self._plain_groups = {name: list(items) for name, items in self.groups.items()}
        for number in self._all_numbers():
            self.groups[self._channels["group"]] += self._channel(number)
        self._check()

    @property
    def languages(self) -> list[str]:
        return self.module["languages"]["order"]

    @property
    def source_language(self) -> str:
        return self.module["languages"]["source"]

    def is_source_only(self, key: str) -> bool:
        """Whether a key has a text in the source language only."""
        return key.startswith(tuple(self.module["languages"]["source_only"]))

    def entries(self) -> dict[str, list[int] | None]:
        """Every entry that a text file needs for this structure. One whose key holds {n} stands
        for the channel numbers given with it."""
        keys = ["module.display", "module.description"]
        for sensor in self.sensors:
            keys += [f"{sensor['name']}.{part}" for part in ("display", "description", "help")]
        keys += [f"{section['name']}.display" for section in self.sections]
        for lookup in self.lookups:
            keys += [f"lookup.{lookup['name']}.{value['value']}" for value in lookup["values"]]
        for group, settings in self._plain_groups.items():
            for setting in settings:
                keys += self._setting_keys(group, setting)
        entries: dict[str, list[int] | None] = dict.fromkeys(keys)
        group = self._channels["group"]
        entries |= dict.fromkeys(
            self._setting_keys(group, self._channels["switch"]), self._optional_numbers()
        )
        for setting in self._channels["settings"]:
            entries |= dict.fromkeys(self._setting_keys(group, setting), self._all_numbers())
        return entries

    def _all_numbers(self) -> list[int]:
        return list(range(self._channels["first"], self._channels["last"] + 1))

    def _optional_numbers(self) -> list[int]:
        return list(range(self._channels["first_optional"], self._channels["last"] + 1))

    def _channel(self, number: int) -> list[dict]:
        """The settings of one channel, its switch first where it has one."""

        def numbered(setting: dict) -> dict:
            return setting | {"name": setting["name"].replace("{n}", str(number))}

        settings = [numbered(setting) for setting in self._channels["settings"]]
        if number not in self._optional_numbers():
            return settings
        switch = numbered(self._channels["switch"])
        condition = switch.pop("condition")
        depends_on = {"setting": switch["name"], "condition": condition}
        return [switch] + [setting | {"depends_on": depends_on} for setting in settings]

    @staticmethod
    def _setting_keys(group: str, setting: dict) -> list[str]:
        prefix = f"{group}.{setting['name']}"
        options = [f"{prefix}.option.{option}" for option in setting.get("options", [])]
        return [f"{prefix}.display", f"{prefix}.help", *options]

    def _check(self) -> None:
        sections = {section["name"] for section in self.sections}
        checks = {check["name"] for check in self.checks}
        for user in self.sensors + self.checks:
            self._known(user["name"], user["sections"], sections)
            self._known(user["name"], user.get("required_checks", []), checks)
        for section in self.sections:
            self._known(section["name"], section["groups"], set(self.groups))
        for group, settings in self.groups.items():
            names = {setting["name"]: setting for setting in settings}
            if len(names) != len(settings):
                raise StructureError(f"{group}: a setting is there twice")
            for setting in settings:
                self._check_setting(f"{group}.{setting['name']}", setting, names)

    @staticmethod
    def _known(user: str, used: list[str], known: set[str]) -> None:
        if unknown := set(used) - known:
            raise StructureError(f"{user}: refers to {', '.join(sorted(unknown))}, not defined")

    @staticmethod
    def _check_setting(name: str, setting: dict, siblings: dict[str, dict]) -> None:
        attributes = SETTING_ATTRIBUTES.get(setting["type"])
        if attributes is None:
            raise StructureError(f"{name}: unknown type {setting['type']}")
        if unknown := set(setting) - COMMON_ATTRIBUTES - attributes:
            raise StructureError(f"{name}: unknown attribute {', '.join(sorted(unknown))}")
        if not isinstance(setting.get("default", ""), str):
            raise StructureError(f"{name}: the default must be a text")
        if "options" in setting and setting["default"] not in setting["options"]:
            raise StructureError(f"{name}: the default is not an option")
        if depends_on := setting.get("depends_on"):
            options = siblings.get(depends_on["setting"], {}).get("options", [])
            if depends_on["condition"] not in options:
                raise StructureError(f"{name}: depends on a value that cannot be chosen")
