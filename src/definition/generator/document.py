"""Builds the definition document from structure and texts."""

import json

from .structure import Structure
from .texts import Texts


def build(structure: Structure, languages: list[Texts]) -> str:
    """The document as JSON in one line. `languages` come in the document's order; the one that
    gives the labels of the structure is among them."""
    labels = next(
        texts.expanded(structure)
        for texts in languages
        if texts.language == structure.source_language
    )
    document = {
        "Revision": structure.module["revision"],
        "MetaData": _meta_data(structure.module["meta_data"], labels),
        "Sensors": {sensor["name"]: _sensor(sensor, labels) for sensor in structure.sensors},
        "Checks": {
            check["name"]: {"Name": check["name"], "Sections": check["sections"]}
            for check in structure.checks
        },
        "Sections": {section["name"]: _section(section, labels) for section in structure.sections},
        "Groups": {
            name: {"Name": name, "Items": [_item(name, setting, labels) for setting in settings]}
            for name, settings in structure.groups.items()
        },
        "Lookups": {lookup["name"]: _lookup(lookup, labels) for lookup in structure.lookups},
        "Text": {texts.language: _translation(texts, structure) for texts in languages},
    }
    return json.dumps(document, ensure_ascii=False, separators=(",", ":"))


def _meta_data(meta_data: dict, labels: dict[str, str]) -> dict:
    return {
        "Vendor": meta_data["vendor"],
        "Name": meta_data["name"],
        "Display": labels["module.display"],
        "Description": labels["module.description"],
        "Contact": meta_data["contact"],
        "Version": meta_data["version"],
    }


def _sensor(sensor: dict, labels: dict[str, str]) -> dict:
    name = sensor["name"]
    return {
        "Name": name,
        "Display": labels[f"{name}.display"],
        "Description": labels[f"{name}.description"],
        "Help": labels[f"{name}.help"],
        "ManualLink": sensor["manual_link"],
        "ResourceUsage": sensor["resource_usage"],
        "Compatibility": sensor["compatibility"],
        "Family": sensor["family"],
        **({"Flag": sensor["flag"]} if "flag" in sensor else {}),
        "RequiredChecks": sensor["required_checks"],
        "Settings": {"Sections": sensor["sections"]},
        "Tags": sensor["tags"],
    }


def _section(section: dict, labels: dict[str, str]) -> dict:
    return {
        "Name": section["name"],
        "Display": labels[f"{section['name']}.display"],
        "Scope": section["scope"],
        "Groups": section["groups"],
    }


def _item(group: str, setting: dict, labels: dict[str, str]) -> dict:
    item = {}
    if depends_on := setting.get("depends_on"):
        item = {"DependsOn": depends_on["setting"], "Condition": depends_on["condition"]}
    return item | {"Setting": _setting(f"{group}.{setting['name']}", setting, labels)}


def _setting(key: str, setting: dict, labels: dict[str, str]) -> dict:
    result = {
        "Name": setting["name"],
        "Display": labels[f"{key}.display"],
        "Help": labels[f"{key}.help"],
    }
    if "default" in setting:
        result["Default"] = setting["default"]
    result |= _type(key, setting, labels)
    if flags := setting.get("flags"):
        result["Flags"] = flags
    return result


def _type(key: str, setting: dict, labels: dict[str, str]) -> dict:
    match setting["type"]:
        case "text":
            return {"Text": {"Maxlength": setting["maxlength"]} if "maxlength" in setting else {}}
        case "multiline_text":
            return {"Text": {"Multiline": True}}
        case "secret_text":
            return {"Text": {"Security": "SettingSecurityHigh"}}
        case "integer":
            return {"IntegerSigned": _limits(setting)}
        case "float":
            return {"Floatingpoint": _limits(setting)}
    options = [
        {"Display": labels[f"{key}.option.{option}"], "Value": option}
        for option in setting["options"]
    ]
    mode = {"Mode": setting["mode"]} if "mode" in setting else {}
    return {"Selection": mode | {"Options": options}}


def _limits(setting: dict) -> dict:
    return {
        "IsMinimumSet": "minimum" in setting,
        "Minimum": setting.get("minimum", 0),
        "IsMaximumSet": "maximum" in setting,
        "Maximum": setting.get("maximum", 0),
    }


def _lookup(lookup: dict, labels: dict[str, str]) -> dict:
    values = [
        {
            "Name": value["name"],
            "Display": labels[f"lookup.{lookup['name']}.{value['value']}"],
            "Value": value["value"],
            "State": value["state"],
        }
        for value in lookup["values"]
    ]
    return {"Name": lookup["name"], "Mode": lookup["mode"], "LookupValues": values}


def _translation(texts: Texts, structure: Structure) -> dict:
    expanded = texts.expanded(structure)
    return {"Translation": {key: {"Display": text} for key, text in expanded.items()}}
