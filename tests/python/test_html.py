"""Files, variables and attributes as notebooks show them."""

from html.parser import HTMLParser

import numpy as np
import pytest
import tarvik

EVIL = "<script>alert(1)</script>\"'><img src=x onerror=alert(2)>&amp;</dd></details>"
TAGS = {"div", "style", "span", "strong", "details", "summary", "dl", "dt", "dd"}


class Page(HTMLParser):
    """What a browser makes of a page: its tags, their attributes, and the text that is shown."""

    def __init__(self, shown):
        super().__init__()
        self.open, self.tags, self.attributes, self.texts = [], set(), set(), []
        self.feed(shown._repr_html_())
        self.close()
        assert self.open == []

    def handle_starttag(self, tag, attrs):
        self.open.append(tag)
        self.tags.add(tag)
        self.attributes.update(name for name, _ in attrs)

    def handle_endtag(self, tag):
        assert self.open.pop() == tag

    def handle_data(self, data):
        if self.open[-1] != "style":
            self.texts.append(data)


@pytest.fixture
def file(tmp_path):
    with tarvik.open(tmp_path / "x.cdf", "w") as file:
        yield file


def test_texts_of_the_file_are_no_html(file):
    file[EVIL] = np.arange(3.0)
    file[EVIL].attrs["UNITS"] = EVIL
    file.attrs[EVIL] = [EVIL, b"caf\xe9"]
    for shown in (file, file[EVIL], file.attrs, file[EVIL].attrs):
        page = Page(shown)
        assert page.tags <= TAGS
        assert page.attributes <= {"class", "open"}
        assert EVIL in "".join(page.texts)
    assert "url(" not in file._repr_html_()


def test_paths_that_are_no_utf8(tmp_path):
    tarvik.open(tmp_path / "x.cdf", "w").close()
    path = (tmp_path / "x.cdf").rename(tmp_path / "caf\udce9.cdf")
    with tarvik.open(path) as file:
        assert str(tmp_path / "caf?.cdf") in Page(file).texts


def test_variables_are_shown_without_reading_values(file):
    file.create_variable("flux", np.ones((3, 4), "f4"), compression="gzip:3", attrs={"UNITS": "nT"})
    file.create_variable("bad", np.arange(2))
    file.create_variable("one", 7.5, record_vary=False)
    call, called = file._call, set()

    def spy(operation, *inputs):
        called.add(operation)
        if operation == "getVarCompression" and inputs[1] == 1:
            raise tarvik.CDFError("x", "it is damaged")
        return call(operation, *inputs)

    file._call = spy
    texts = Page(file).texts
    expected = ["flux", "CDF_REAL4", "3 \N{MULTIPLICATION SIGN} 4", "nT", "gzip:3"]
    start = texts.index("flux")
    assert [text for text in texts[start : start + 9] if text.strip()] == expected
    assert {"it is damaged", "one", "one value"} <= set(texts)
    assert not [operation for operation in called if "Data" in operation]


def test_pages_are_bounded(file):
    file.attrs["long"] = "\N{SNOWMAN}&" * 500_000
    file.attrs["many"] = ["<" * 1000] * 500
    file.attrs["array"] = np.arange(1e5)
    for number in range(400):
        file.create_variable(f"v{number}", datatype="CDF_INT4", shape=())
        for title in "abcdefgh":
            file[f"v{number}"].attrs[title] = "&" * 1000
    page = Page(file)
    assert len(file._repr_html_()) < 1e6
    left_out = 400 - sum(text.startswith("v") and text[1:].isdigit() for text in page.texts)
    assert left_out > 0
    assert f"… and {left_out} more variables" in page.texts
    assert any(text.endswith("… (1000000 characters)") for text in page.texts)


def test_what_is_gone_is_one_line(tmp_path):
    with tarvik.open(tmp_path / "y.cdf", "w") as file:
        file["a"], file["b"] = 1.0, 2.0
        kept, deleted = file["a"], file["b"]
        del file["b"]
        assert Page(deleted).texts == [repr(deleted)]
        assert Page(deleted.attrs).texts == ["<tarvik.Attributes: the variable 'b' was deleted>"]
    for gone in (file, kept, deleted):
        assert Page(gone).texts == [repr(gone)]
    assert Page(file.attrs).texts == [f"<tarvik.Attributes: {file.path} is closed>"]
