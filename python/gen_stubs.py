"""Writes ormavec.pyi beside the built module so that editors complete names.

Run by the build after the module is linked: python3 gen_stubs.py DIR
"""
import inspect
import re
import sys

sys.path.insert(0, sys.argv[1])
import ormavec  # noqa: E402

SCALARS = {bool: "bool", int: "int", float: "float", str: "str", list: "typing.List[typing.Any]",
           tuple: "typing.Tuple[typing.Any, ...]"}


def type_of(value):
    if value is None:
        return "typing.Any"
    t = type(value)
    if t in SCALARS:
        return SCALARS[t]
    if t.__module__ == "ormavec":
        return t.__name__
    return "typing.Any"


def split_top(text):
    parts, depth, cur = [], 0, ""
    for ch in text:
        if ch in "[(<":
            depth += 1
        elif ch in "])>":
            depth -= 1
        if ch == "," and depth == 0:
            parts.append(cur)
            cur = ""
        else:
            cur += ch
    if cur.strip():
        parts.append(cur)
    return parts


def clean(t):
    t = t.strip().replace("ormavec::", "").replace("ormavec.", "")
    for a, b in ((r"\bList\[", "typing.List["), (r"\bTuple\[", "typing.Tuple["), (r"\bOptional\[", "typing.Optional["),
                 (r"\bCallable\[", "typing.Callable["), (r"\bIterator\b", "typing.Iterator"), (r"\bobject\b", "typing.Any"),
                 (r"\bhandle\b", "typing.Any"), (r"\bIterable\b", "typing.Iterable[typing.Any]"), (r"\bkwargs\b", "typing.Any"),
                 (r"\btuple\b", "typing.Tuple[typing.Any, ...]"), (r"\blist\b", "typing.List[typing.Any]"),
                 (r"\bslice\b", "builtins.slice")):
        t = re.sub(r"(?<!typing\.)" + a, b, t)
    return t or "typing.Any"


PROGRESS = "typing.Optional[typing.Callable[[int], typing.Optional[int]]]"


def property_type(obj, value):
    """The type of a property: of its value, else of its getter's signature."""
    if value is not None:
        return type_of(value)
    match = re.search(r"->\s*(.*)$", ((obj.fget.__doc__ or "").strip().splitlines() or [""])[0])
    if not match or clean(match.group(1)) == "typing.Any":
        return "typing.Any"
    return f"typing.Optional[{clean(match.group(1))}]"


def signatures(name, doc, static):
    """One stub per signature of a member; overloads marked as such."""
    lines = [line.strip() for line in doc]
    overloads = [re.sub(r"^\d+\.\s*", "", line) for line in lines if re.match(rf"^\d+\.\s*{name}\(", line)]
    if overloads:
        out = []
        for text in overloads:
            out += ["    @typing.overload"] + signature(name, [text], static)
        return out
    return signature(name, doc, static)


def member_stub(cls, name, obj, instance):
    if isinstance(obj, property):
        if name == "Progress":
            return [f"    {name}: {PROGRESS}"]
        try:
            value = getattr(instance, name) if instance is not None else None
        except Exception:
            value = None
        return [f"    {name}: {property_type(obj, value)}"]
    if isinstance(obj, cls):
        return [f"    {name}: {cls.__name__}"]
    if callable(obj):
        static = isinstance(inspect.getattr_static(cls, name), staticmethod)
        if static:
            obj = getattr(cls, name)
        doc = (getattr(obj, "__doc__", "") or "").strip().splitlines()
        return signatures(name, doc, static)
    return []


def signature(name, doc, static):
    match = re.match(r"^\w+\((.*)\)\s*->\s*(.*)$", doc[0]) if doc else None
    if not match:
        args = "*args: typing.Any, **kwargs: typing.Any" if static else "self, *args: typing.Any, **kwargs: typing.Any"
        result = "None" if name == "__init__" else "typing.Any"
        return (["    @staticmethod"] if static else []) + [f"    def {name}({args}) -> {result}: ..."]
    params = []
    for part in split_top(match.group(1)):
        pname, _, rest = part.partition(":")
        ptype, _, default = rest.partition("=")
        pname = pname.strip()
        if pname == "self":
            params.append("self")
            continue
        text = pname if pname.startswith("*") and not ptype.strip() else f"{pname}: {clean(ptype)}"
        if pname.startswith("*") and not ptype.strip():
            text += ": typing.Any"
        if default.strip():
            text += " = ..."
        params.append(text)
    if not static and (not params or params[0] != "self"):
        params.insert(0, "self")
    out = [f"    def {name}({', '.join(params)}) -> {clean(match.group(2))}: ..."]
    if doc[1:]:
        rest = " ".join(line.strip() for line in doc[1:] if line.strip())
        if rest:
            out[0] = out[0][:-4] + f'\n        """{rest}"""'
    return (["    @staticmethod"] if static else []) + out


def main():
    out = ["# Type stubs of the ormavec module (written by the build).", "import builtins", "import typing", "",
           "__version__: str", ""]
    for name, obj in sorted(vars(ormavec).items()):
        if name.startswith("_"):
            continue
        if inspect.isclass(obj) and issubclass(obj, BaseException):
            bases = ", ".join(b.__name__ if b.__module__ == "ormavec" else "builtins." + b.__name__ for b in obj.__bases__)
            out += [f"class {name}({bases}):", "    number: int", "    source: str", "    description: str", ""]
            continue
        if inspect.isclass(obj):
            try:
                instance = obj()
            except Exception:
                instance = None
            bases = [b.__name__ for b in obj.__bases__ if b.__module__ == "ormavec"]
            out.append(f"class {name}({', '.join(bases)}):" if bases else f"class {name}:")
            if obj.__doc__ and not obj.__doc__.startswith(name):
                out.append(f'    """{obj.__doc__.strip()}"""')
            body = []
            for attr, value in sorted(vars(obj).items()):
                if attr.startswith("__") and attr not in ("__len__", "__getitem__", "__setitem__", "__iter__", "__init__"):
                    continue
                if attr.startswith("_pybind11"):
                    continue
                body += member_stub(obj, attr, value, instance)
            item = next((line for line in body if line.startswith("    def Item(")), None)
            if item and "-> typing.Any" not in item:
                element = item.splitlines()[0].rsplit("-> ", 1)[1].rstrip(": .")
                body = [f"    def __iter__(self) -> typing.Iterator[{element}]: ..." if line.startswith("    def __iter__(") else line
                        for line in body]
            out += body or ["    ..."]
            out.append("")
        elif isinstance(obj, int):
            out.append(f"{name}: int")
        elif callable(obj):
            doc = (obj.__doc__ or "").strip().splitlines()
            out += [line[4:] for line in signature(name, doc, True)[1:]] + [""]
    with open(f"{sys.argv[1]}/ormavec.pyi", "w", encoding="utf-8") as f:
        f.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
