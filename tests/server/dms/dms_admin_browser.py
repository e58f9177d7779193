#!/usr/bin/python3
"""Drives the settings page of calyx-dms in Debian's headless Chromium (run inside the
server's network namespace, where the page listens on the loopback address).

  dms_admin_browser.py PLAN_JSON RESULT_JSON

The plan names the page's address, the password, the output folder for screenshots, a
fresh profile folder, and the clients: one whose profile is chosen, one that is denied and
one that calls itself with markup. The result records what the page showed; the calling
test judges it. Every wait is bounded."""

import json
import sys

from selenium import webdriver
from selenium.common.exceptions import NoAlertPresentException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync"]


def start_browser(profile_dir):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in FLAGS + ["--user-data-dir=" + profile_dir, "--window-size=1280,900"]:
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service(executable_path="/usr/bin/chromedriver"),
                              options=options)
    driver.set_page_load_timeout(20)
    return driver


def row(driver, mac):
    return driver.find_element(By.CSS_SELECTOR, 'tr[data-mac="%s"]' % mac)


def cell(driver, mac, name):
    return row(driver, mac).find_element(By.CSS_SELECTOR, "td." + name).text


def submit_and_wait(driver, button):
    """Clicks a form button and waits for the page the change redirects to."""
    button.click()
    WebDriverWait(driver, 10).until(
        lambda d: d.find_elements(By.CSS_SELECTOR, "p.notice"))
    return driver.find_element(By.CSS_SELECTOR, "p.notice").text


def alert_shown(driver):
    try:
        driver.switch_to.alert
        return True
    except NoAlertPresentException:
        return False


def main():
    plan = json.load(open(sys.argv[1]))
    result = {}
    driver = start_browser(plan["profile_dir"])
    try:
        driver.get(plan["url"])
        driver.find_element(By.NAME, "password").send_keys(plan["password"])
        driver.find_element(By.CSS_SELECTOR, "form[action='/login'] button").click()
        WebDriverWait(driver, 10).until(
            lambda d: d.find_elements(By.CSS_SELECTOR, "table.clients"))
        result["names"] = {r.get_attribute("data-mac"): r.find_element(By.CSS_SELECTOR,
                                                                        "td.name").text
                           for r in driver.find_elements(By.CSS_SELECTOR, "tr[data-mac]")}
        result["seen"] = {mac: cell(driver, mac, "seen") for mac in result["names"]}

        # Markup in a device's name is text: no element made from it, nothing run.
        result["markup_text"] = driver.execute_script(
            "return arguments[0].textContent", row(driver, plan["markup"]).find_element(
                By.CSS_SELECTOR, "td.name"))
        result["img_elements"] = len(driver.find_elements(By.TAG_NAME, "img"))
        result["alert"] = alert_shown(driver)

        # Choose a profile for one client, deny another.
        chosen = row(driver, plan["choose"]["mac"])
        Select(chosen.find_element(By.NAME, "profile")).select_by_visible_text(
            plan["choose"]["profile"])
        result["choose_notice"] = submit_and_wait(
            driver, chosen.find_element(By.CSS_SELECTOR, "button[value=profile]"))
        result["choice_shown"] = cell(driver, plan["choose"]["mac"], "choice")
        denied = row(driver, plan["deny"])
        result["deny_notice"] = submit_and_wait(
            driver, denied.find_element(By.CSS_SELECTOR, "button[value=deny]"))
        result["access_shown"] = cell(driver, plan["deny"], "access")

        # Filter and sort.
        driver.find_element(By.NAME, "q").send_keys(plan["deny"])
        driver.find_element(By.CSS_SELECTOR, "form.filter button").click()
        WebDriverWait(driver, 10).until(lambda d: "q=" in d.current_url)
        result["filtered"] = [r.get_attribute("data-mac")
                              for r in driver.find_elements(By.CSS_SELECTOR, "tr[data-mac]")]
        driver.get(plan["url"] + "?sort=-mac")
        result["sorted_desc_by_mac"] = [
            r.get_attribute("data-mac")
            for r in driver.find_elements(By.CSS_SELECTOR, "tr[data-mac]")]

        driver.get(plan["url"])
        result["desktop"] = plan["out"] + "/admin-desktop.png"
        driver.save_screenshot(result["desktop"])
        # A phone: 360 x 740 CSS pixels; nothing may be wider than the screen.
        driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": 360, "height": 740, "deviceScaleFactor": 1, "mobile": True})
        driver.get(plan["url"])
        result["phone_widths"] = driver.execute_script(
            "return [document.documentElement.scrollWidth, window.innerWidth]")
        result["phone_viewport"] = driver.execute_script(
            "var m = document.querySelector('meta[name=viewport]');"
            "return m ? m.content : ''")
        result["phone"] = plan["out"] + "/admin-phone.png"
        driver.save_screenshot(result["phone"])
    finally:
        driver.quit()
    with open(sys.argv[2], "w") as f:
        json.dump(result, f)


if __name__ == "__main__":
    main()
