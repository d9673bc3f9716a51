# SPDX-License-Identifier: Apache-2.0
"""Looks at a report with headless Chromium.

Usage: check_in_browser.py REPORT [--renew]

With --renew the pictures docs/images/report-WIDTH.png are taken as well.
"""
import argparse
import base64
import io
import json
import os
import pathlib
import tempfile

from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

IMAGES = pathlib.Path(__file__).resolve().parents[2] / "docs" / "images"
WIDTHS = {1280: 1900, 390: 1900}  # and how much of the page the pictures show
LEAST_CONTRAST = 4.5
LEAST_LETTERS = 6  # in pixels, of the smallest text in a picture on a phone


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--disable-gpu", "--hide-scrollbars", "--disable-dev-shm-usage",
                     "--disable-background-networking", "--no-first-run"):
        options.add_argument(argument)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")  # which it refuses to set up as root
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def load(driver, path, width, scheme="light"):
    """Loads a page; gives what the console said, and the requests apart from that for the page."""
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": width, "height": 800, "deviceScaleFactor": 1, "mobile": width < 600})
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
        "features": [{"name": "prefers-color-scheme", "value": scheme}]})
    url = pathlib.Path(path).resolve().as_uri()
    driver.get(url)
    said = [entry["message"] for entry in driver.get_log("browser")]
    events = [json.loads(entry["message"])["message"] for entry in driver.get_log("performance")]
    asked = [event["params"]["request"]["url"] for event in events
             if event["method"] == "Network.requestWillBeSent"]
    return said, [other for other in asked if other != url and not other.startswith("data:")]


def require_that_faults_show(driver):
    """A page that does what reports must not, so that silence means something."""
    with tempfile.NamedTemporaryFile("w", suffix=".html") as page:
        page.write("<p>x<img src='http://127.0.0.1:9/x.png'><script>undefined.x</script>")
        page.flush()
        said, asked = load(driver, page.name, 1280)
    assert any("TypeError" in line for line in said), said
    assert asked == ["http://127.0.0.1:9/x.png"], asked


def require_fitting_page(driver, width):
    assert driver.execute_script("return document.documentElement.scrollWidth") <= width
    sizes = driver.execute_script(
        "return [...document.querySelectorAll('figure svg')].map(e => {"
        "const b = e.getBoundingClientRect(); return [b.width, b.height]})")
    assert len(sizes) > 20 and all(w > 250 and h > 150 and w <= width for w, h in sizes), sizes
    letters = driver.execute_script(
        "return [...document.querySelectorAll('figure svg text')].filter(e => e.textContent.trim())"
        ".map(e => parseFloat(getComputedStyle(e).fontSize) * e.getScreenCTM().a)")
    upright = [size for size in letters if size > 0.5]  # others are turned by a right angle
    assert min(upright) > LEAST_LETTERS, min(upright)


def require_contrast(driver):
    """Of texts and lines against the page, as the Web Content Accessibility Guidelines define it."""
    colours = driver.execute_script(
        "const s = getComputedStyle(document.documentElement);"
        "return Object.fromEntries(['page', 'panel', 'ink', 'faint', 'link', 'good', 'bad', 'bad-page',"
        "'line-1'].map(n => [n, s.getPropertyValue('--' + n).trim()]))")

    def luminance(colour):
        parts = [int(colour[at:at + 2], 16) / 255 for at in (1, 3, 5)]
        linear = [p / 12.92 if p <= 0.04045 else ((p + 0.055) / 1.055) ** 2.4 for p in parts]
        return sum(weight * part for weight, part in zip((0.2126, 0.7152, 0.0722), linear))

    def contrast(one, other):
        bright, dark = sorted((luminance(colours[one]), luminance(colours[other])), reverse=True)
        return (bright + 0.05) / (dark + 0.05)

    for text in ("ink", "faint", "link", "good", "bad"):
        for ground in ("page", "panel"):
            assert contrast(text, ground) >= LEAST_CONTRAST, (text, ground, contrast(text, ground))
    assert contrast("ink", "bad-page") >= LEAST_CONTRAST
    assert contrast("line-1", "panel") >= 3


def require_names(driver):
    """What a screen reader is given."""
    nodes = driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
    shown = [node for node in nodes if not node.get("ignored")]
    for role in ("image", "link", "region", "heading", "navigation"):
        of_role = [node for node in shown if node.get("role", {}).get("value") == role]
        assert of_role, role
        assert all(node.get("name", {}).get("value", "").strip() for node in of_role), role


def require_keys(driver):
    body = driver.find_element(By.TAG_NAME, "body")
    body.send_keys(Keys.TAB)
    skip = driver.switch_to.active_element
    assert skip.get_attribute("class") == "skip" and skip.rect["x"] >= 0
    skip.send_keys(Keys.ENTER)
    assert driver.switch_to.active_element.get_attribute("id") == "content"
    seen = set()
    for _ in range(20):
        driver.switch_to.active_element.send_keys(Keys.TAB)
        seen.add(driver.switch_to.active_element.get_attribute("class"))
    assert "scroll" in seen, seen


def require_print(driver):
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
    assert driver.execute_script("return getComputedStyle(document.querySelector('nav')).display") == "none"
    cut = driver.execute_script(
        "return [...document.querySelectorAll('.scroll')].filter(e => e.scrollHeight > e.clientHeight + 1)"
        ".length")
    assert cut == 0
    pdf = base64.b64decode(driver.execute_cdp_cmd("Page.printToPDF", {})["data"])
    assert pdf.startswith(b"%PDF")


def take_picture(driver, width):
    clip = {"x": 0, "y": 0, "width": width, "height": WIDTHS[width], "scale": 1}
    taken = driver.execute_cdp_cmd("Page.captureScreenshot", {"captureBeyondViewport": True, "clip": clip})
    IMAGES.mkdir(exist_ok=True)
    picture = Image.open(io.BytesIO(base64.b64decode(taken["data"]))).convert("RGB")
    picture.save(IMAGES / f"report-{width}.png", optimize=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("report")
    parser.add_argument("--renew", action="store_true")
    arguments = parser.parse_args()
    driver = browser()
    try:
        require_that_faults_show(driver)
        for scheme in ("dark", "light"):
            for width in WIDTHS:
                said, asked = load(driver, arguments.report, width, scheme)
                assert said == [] and asked == [], (said, asked)
                require_fitting_page(driver, width)
                if arguments.renew and scheme == "light":
                    take_picture(driver, width)
            require_contrast(driver)
        require_names(driver)
        require_keys(driver)
        require_print(driver)
    finally:
        driver.quit()
    print("The report opens in a browser: no error, no request; phone, desktop, dark, print, keys.")


if __name__ == "__main__":
    main()
