#!/usr/bin/env python3
"""The web console as a person uses it, in Debian's headless Chromium against vg-webd and a kestd
of its own: log in, change Wi-Fi settings, Save & Apply with its confirmation (kept, and reverted
when the page never confirms), a viewer, live events, a phone's width, axe-core's accessibility
check, and every setting of the schema reachable as an input named by its path.

usage: test_webd_browser.py VG_MGMT KESTD VG_WEBD ARTIFACT_DIR [unittest options]
Screenshots go to ARTIFACT_DIR. axe-core comes from tests/web/node_modules (npm ci there).
"""
import base64
import json
import os
import re
import shutil
import sys
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
AXE = os.path.join(HERE, 'node_modules', 'axe-core', 'axe.min.js')
AXE_CHECK = os.path.join(HERE, 'axe_check.js')
WWW = os.path.join(os.path.dirname(os.path.dirname(HERE)), 'tools', 'web', 'www')
CHROMIUM = shutil.which('chromium') or '/usr/bin/chromium'
CHROMEDRIVER = shutil.which('chromedriver') or '/usr/bin/chromedriver'

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import Select, WebDriverWait
except ImportError:
    # python3-selenium is Debian's: a python3 of another installation does not see it.
    if os.path.exists('/usr/bin/python3') and os.path.realpath(sys.executable) != '/usr/bin/python3' \
            and not os.environ.get('VG_WEB_TEST_REEXEC'):
        os.environ['VG_WEB_TEST_REEXEC'] = '1'
        os.execv('/usr/bin/python3', ['/usr/bin/python3'] + sys.argv)
    webdriver = None

sys.path.insert(0, HERE)
from webd_harness import Console  # noqa: E402

ARGS = {}
MISSING = [what for what, there in (('chromium', os.access(CHROMIUM, os.X_OK)),
                                    ('chromedriver', os.access(CHROMEDRIVER, os.X_OK)),
                                    ('python3-selenium', webdriver is not None)) if not there]


def schema_leaves(schema):
    """(path, node) of every setting the schema describes; a list's entries as its first entry."""
    def resolve(node):
        while isinstance(node, dict) and '$ref' in node:
            target = schema
            for part in node['$ref'].lstrip('#').strip('/').split('/'):
                target = target[part]
            node = target
        return node

    def walk(node, path):
        node = resolve(node)
        if isinstance(node.get('properties'), dict):
            for key, sub in node['properties'].items():
                yield from walk(sub, f'{path}.{key}' if path else key)
        elif node.get('type') == 'array' or 'items' in node:
            yield from walk(node.get('items', {}), f'{path}[0]')
        else:
            yield path, node, [resolve(b) for b in node.get('anyOf', [])]
    return list(walk(schema, ''))


class Browser:
    """One headless Chromium and what the tests do with it."""

    def __init__(self, url, artifacts):
        options = Options()
        options.binary_location = CHROMIUM
        for arg in ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage',
                    '--window-size=1280,900', '--lang=en-US'):
            options.add_argument(arg)
        self.driver = webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)
        self.url = url
        self.artifacts = artifacts

    def wait(self, what, timeout=20, message=''):
        return WebDriverWait(self.driver, timeout, poll_frequency=0.2).until(lambda d: what(), message)

    def js(self, script, *args):
        return self.driver.execute_script(script, *args)

    def by_name(self, name):
        return self.driver.find_element(By.NAME, name)

    def type(self, name, text):
        box = self.by_name(name)
        box.clear()
        box.send_keys(text)
        return box

    def shot(self, name, whole=True):
        """A screenshot of the whole page, beyond the window's height (or of the window)."""
        if not whole:
            self.driver.save_screenshot(os.path.join(self.artifacts, name + '.png'))
            return
        metrics = self.driver.execute_cdp_cmd('Page.getLayoutMetrics', {})
        size = metrics.get('cssContentSize') or metrics['contentSize']
        png = self.driver.execute_cdp_cmd('Page.captureScreenshot', {
            'format': 'png', 'captureBeyondViewport': True,
            'clip': {'x': 0, 'y': 0, 'width': size['width'], 'height': min(size['height'], 12000), 'scale': 1}})
        with open(os.path.join(self.artifacts, name + '.png'), 'wb') as out:
            out.write(base64.b64decode(png['data']))

    def open_login(self):
        self.driver.delete_all_cookies()
        self.driver.get(self.url + '/')
        self.wait(lambda: self.driver.find_element(By.ID, 'login-view').is_displayed(), message='no login form')

    def field_by_label(self, text):
        for label in self.driver.find_elements(By.TAG_NAME, 'label'):
            if label.text.strip() == text and label.is_displayed():
                return self.driver.find_element(By.ID, label.get_attribute('for'))
        raise AssertionError('no visible input labelled %r' % text)

    def login(self, user, password):
        self.open_login()
        self.field_by_label('User name').send_keys(user)
        self.field_by_label('Password').send_keys(password + Keys.ENTER)
        self.wait(lambda: self.driver.find_element(By.ID, 'nav').is_displayed(), message='no navigation')
        self.wait(lambda: self.js("return !!document.querySelector('.settings [name]')"), message='no form')

    def go(self, view):
        """Opens a section with the keyboard: focus its link in the navigation, press Enter."""
        link = self.driver.find_element(By.CSS_SELECTOR, 'nav a[href="#%s"]' % view)
        self.js('arguments[0].focus()', link)
        link.send_keys(Keys.ENTER)
        self.wait(lambda: self.driver.find_element(By.ID, 's-' + view).is_displayed(),
                  message='section %s not shown' % view)

    def views(self):
        return [a.get_attribute('href').split('#', 1)[1] for a in self.driver.find_elements(By.CSS_SELECTOR, 'nav a')]

    def settings_views(self):
        return [v for v in self.views() if v not in ('status', 'config', 'events')]

    def text(self, element_id):
        return self.driver.find_element(By.ID, element_id).text

    def axe(self, where):
        """axe-core's serious and critical violations of the page as it is now."""
        if not self.js('return !!window.axe'):
            self.js(read(AXE))  # tests/web: npm ci
        return [where + ': ' + v for v in self.driver.execute_async_script(read(AXE_CHECK))]


@unittest.skipIf(MISSING, 'not installed: ' + ', '.join(MISSING))
class WebConsole(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(ARGS['artifacts'], exist_ok=True)
        cls.console = Console(ARGS['vg_webd'], ARGS['kestd'], WWW)
        try:
            cls.admin = cls.console.login('admin')
            cls.b = Browser(cls.console.url, ARGS['artifacts'])
            cls.b.driver.set_script_timeout(60)
        except Exception:
            cls.console.stop()
            raise

    @classmethod
    def tearDownClass(cls):
        cls.b.driver.quit()
        cls.console.stop()

    def rpc(self, method, params=None):
        return self.admin.result(method, **(params or {}))

    def setUp(self):
        self.b.driver.set_window_size(1280, 900)
        self.b.driver.execute_cdp_cmd('Emulation.clearDeviceMetricsOverride', {})

    # -- a person's path -------------------------------------------------------------------
    def test_admin_changes_wifi_and_each_change_is_kept_or_reverted(self):
        b = self.b
        b.open_login()
        b.shot('01-login')
        b.login('admin', 'admin-pass-1')
        b.shot('02-status')
        self.assertEqual(b.views()[0], 'status')
        before = self.rpc('config.export')
        new_ssid, new_channel = self.change_ssid_and_channel(before)
        self.server_problem_is_shown_at_its_input(before)

        self.save_and_see_the_diff({SSID: new_ssid, CHANNEL: new_channel})
        b.shot('04-diff-dialog', whole=False)
        self.assertEqual(b.axe('diff dialog'), [])
        b.driver.find_element(By.ID, 'dialog-ok').click()
        b.wait(lambda: 'confirmed' in b.text('apply-msg'), 60, 'the apply was not confirmed')
        b.shot('05-confirmed')
        after = self.rpc('config.export')
        self.assertEqual(leaf(after, SSID), new_ssid)
        self.assertEqual(str(leaf(after, CHANNEL)), new_channel)
        b.go('status')
        b.wait(lambda: self.status_row(IFACE, 'ssid') == new_ssid
               and self.status_row(IFACE, 'channel') == new_channel, 20, 'Status shows the old values')
        b.shot('06-status-after-apply')

        self.unconfirmed_apply_is_reverted(new_ssid)
        self.station_appears_live()

    def change_ssid_and_channel(self, before):
        b = self.b
        b.go('wifi')
        self.assertEqual(b.by_name(SSID).get_attribute('value'), leaf(before, SSID))
        new_ssid = b.type(SSID, 'console-' + str(int(time.time()) % 100000)).get_attribute('value')
        channel = Select(b.by_name(CHANNEL))
        names = [o.text for o in channel.options]
        new_channel = names[(names.index(channel.first_selected_option.text) + 1) % len(names)]
        channel.select_by_visible_text(new_channel)
        b.shot('03-wifi-changed')
        return new_ssid, new_channel

    def server_problem_is_shown_at_its_input(self, before):
        """A value the browser lets through and the server refuses: the server's own words,
        under the input its path names."""
        b = self.b
        b.type(COUNTRY, 'U')
        doc = json.loads(json.dumps(before))
        doc['wifi']['country'] = 'U'
        status, answer = self.admin.call('config.validate', document=doc)
        problems = answer['result'].get('problems', []) if 'result' in answer else answer['error']['data']['problems']
        said = [p['problem'] for p in problems if p['path'] == COUNTRY]
        self.assertTrue(said, 'the server took a one-letter country')
        b.wait(lambda: self.problem_at(COUNTRY) == said, 15, 'the problem is not shown at wifi.country')
        self.assertEqual(b.by_name(COUNTRY).get_attribute('aria-invalid'), 'true')
        b.shot('03-server-problem')
        b.type(COUNTRY, leaf(before, COUNTRY))
        b.wait(lambda: self.problem_at(COUNTRY) == [], 15, 'the problem stays after the fix')

    def problem_at(self, name):
        return self.b.js(
            'const i = document.getElementsByName(arguments[0])[0];'
            'const ids = (i.getAttribute("aria-describedby") || "").split(" ");'
            'const p = ids.map(id => document.getElementById(id)).find(e => e && e.classList.contains("problem"));'
            'return p && !p.hidden ? [...p.children].map(c => c.textContent) : [];', name)

    def save_and_see_the_diff(self, expected, seconds=None):
        b = self.b
        b.driver.find_element(By.ID, 'save').click()
        b.wait(lambda: b.driver.find_element(By.ID, 'dialog').is_displayed(), 20, 'no diff dialog')
        shown = b.js('return [...document.querySelectorAll("#dialog .changes li")].map(li =>'
                     ' [".path", ".before", ".after"].map(c => li.querySelector(c).textContent))')
        self.assertEqual({path: after.strip('"') for path, _, after in shown}, expected)
        if seconds is not None:
            self.assertEqual(b.driver.find_element(By.ID, 'confirm-secs').get_attribute('value'), '90')
            b.driver.find_element(By.ID, 'confirm-secs').clear()
            b.driver.find_element(By.ID, 'confirm-secs').send_keys(str(seconds))

    def status_row(self, iface, key):
        return self.b.js(
            'for (const tr of document.querySelectorAll("#status-body tr")) {'
            '  const id = tr.querySelector("td[data-key=interface]");'
            '  const cell = tr.querySelector("td[data-key=" + arguments[1] + "]");'
            '  if (id && cell && id.textContent === arguments[0]) return cell.textContent; }'
            'return null;', iface, key)

    def unconfirmed_apply_is_reverted(self, kept_ssid):
        """The page cannot reach the module for its confirmation (as when the change cut the
        browser off): the module puts the old settings back and the page says so."""
        b = self.b
        b.go('wifi')
        b.type(SSID, kept_ssid + '-x')
        self.save_and_see_the_diff({SSID: kept_ssid + '-x'}, seconds=3)
        b.js('window.realFetch = window.fetch; window.fetch = (url, init) =>'
             ' init && String(init.body).includes("\\"config.confirm\\"")'
             ' ? Promise.reject(new TypeError("unreachable")) : window.realFetch(url, init);')
        b.driver.find_element(By.ID, 'dialog-ok').click()
        try:
            b.wait(lambda: 'reverted' in b.text('apply-msg'), 60,
                   'the page does not say reverted: ' + b.text('apply-msg'))
        finally:
            b.js('if (window.realFetch) window.fetch = window.realFetch;')
        b.shot('07-reverted')
        self.assertEqual(leaf(self.rpc('config.export'), SSID), kept_ssid)
        b.wait(lambda: b.by_name(SSID).get_attribute('value') == kept_ssid, 20,
               'the form does not show the reverted value')

    def station_appears_live(self):
        b = self.b
        b.go('status')
        count = int(self.status_row(IFACE, 'stations'))
        mac = '02:00:5e:00:53:%02x' % (int(time.time()) % 256)
        self.console.kestctl('sta-join', IFACE, mac, 'phone')
        b.wait(lambda: self.status_row(IFACE, 'stations') == str(count + 1), 20,
               'Status does not count the station that joined')
        b.shot('08-status-station')
        b.go('events')
        b.wait(lambda: mac in b.text('events-list'), 20, 'the station is not in Events')
        b.shot('09-events-station')

    # -- a viewer ----------------------------------------------------------------------------
    def test_viewer_sees_values_but_no_editable_form(self):
        b = self.b
        b.login('viewer', 'viewer-pass-1')
        doc = self.rpc('config.export')
        for view in b.settings_views() + ['config']:
            b.go(view)
            editable = b.js(
                'return [...document.querySelectorAll("#s-" + arguments[0] + " [name]")]'
                '.filter(i => !i.disabled && !i.readOnly && i.type !== "hidden").map(i => i.name)', view)
            self.assertEqual(editable, [], 'a viewer can edit in ' + view)
            actions = [e.text for e in b.driver.find_elements(By.CSS_SELECTOR, 'button, input[type=file]')
                       if e.is_displayed() and (e.tag_name == 'input' or any(
                           w in e.text for w in ('Save', 'Apply', 'Rollback', 'Add', 'Remove', 'Revert', 'Discard')))]
            self.assertEqual(actions, [], 'a viewer is offered changes in ' + view)
            b.shot('10-viewer-' + view)
        b.go('wifi')
        self.assertEqual(b.by_name(SSID).get_attribute('value'), leaf(doc, SSID))

    # -- a phone -----------------------------------------------------------------------------
    def test_phone_width_has_no_sideways_scrolling(self):
        b = self.b
        b.login('admin', 'admin-pass-1')
        b.driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride',
                                 {'width': 360, 'height': 740, 'deviceScaleFactor': 1, 'mobile': True})
        wide = []
        for view in b.views():
            b.go(view)
            width = b.js('return document.documentElement.scrollWidth')
            if width > 360:
                wide.append('%s: %d px' % (view, width))
            b.shot('11-phone-' + view)
        self.assertEqual(wide, [])

    # -- accessibility -----------------------------------------------------------------------
    def test_axe_finds_no_serious_fault_in_any_section(self):
        b = self.b
        b.open_login()
        faults = b.axe('login')
        b.login('admin', 'admin-pass-1')
        for view in b.views():
            b.go(view)
            faults += b.axe(view)
        self.assertEqual(faults, [])

    # -- the schema --------------------------------------------------------------------------
    def test_every_setting_of_the_schema_has_its_input(self):
        """Walks the schema: each setting has an input named by its path, labelled with its
        title, showing its help and carrying its checks. A list gets an entry first."""
        b = self.b
        b.login('admin', 'admin-pass-1')
        faults = []
        for path, node, branches in schema_leaves(self.rpc('schema')):
            self.add_list_entries(path)
            found = b.driver.find_elements(By.NAME, path)
            if len(found) != 1:
                faults.append('%s: %d inputs' % (path, len(found)))
                continue
            faults += self.leaf_faults(path, found[0], node, branches)
        self.assertEqual(faults, [])
        # The paths the server names in its problems are the inputs' names.
        b.wait(lambda: b.js('return document.querySelectorAll("#problems li").length') > 0, 15,
               'no problem for the empty list entries')
        unplaced = b.js('return [...document.querySelectorAll("#problems li")]'
                        '.filter(li => !li.querySelector("a")).map(li => li.textContent)')
        self.assertEqual(unplaced, [], 'problems shown at no input')

    def add_list_entries(self, path):
        at = path.find('[0]')
        while at >= 0:
            prefix = path[:at]
            if not self.b.js('return document.getElementsByName(arguments[0]).length ||'
                             ' [...document.querySelectorAll("[name]")].some(i => i.name.startsWith(arguments[0]))',
                             path if at + 3 == len(path) else prefix + '[0]'):
                button = self.b.driver.find_element(
                    By.CSS_SELECTOR, '[data-path="%s"] > button.add' % prefix.replace('"', '\\"'))
                self.b.js('arguments[0].click()', button)
            at = path.find('[0]', at + 3)

    def leaf_faults(self, path, element, node, branches):
        faults = []
        label, hint = self.b.js(
            'const i = arguments[0];'
            'const hint = (i.getAttribute("aria-describedby") || "").split(" ")'
            '.map(id => document.getElementById(id)).filter(e => e && !e.classList.contains("problem"));'
            'return [i.labels.length ? i.labels[0].textContent : "", hint.map(e => e.textContent).join(" ")];',
            element)
        titles = [n['title'] for n in [node] + branches if n.get('title')]
        in_list = path.endswith(']')
        if not label or (titles and not in_list and label not in titles):
            faults.append('%s: label %r, title %r' % (path, label, titles))
        for description in [n['description'] for n in [node] + branches
                            if n.get('description') and n.get('type') != 'object']:
            lost = [w for w in re.findall(r'\w+', description) if w not in label + ' ' + hint]
            if lost:
                faults.append('%s: help lacks %r' % (path, lost))
        checks = next((n for n in [node] + branches if n.get('type') not in (None, 'null', 'object')), node)
        if element.tag_name == 'select':
            named = next((n['enum'] for n in [node] + branches if 'enum' in n), [])
            texts = [o.get_attribute('textContent') for o in Select(element).options]
            faults += ['%s: no choice %r' % (path, v) for v in named if str(v) not in texts]
        for key, attribute in (('minimum', 'min'), ('maximum', 'max'), ('maxLength', 'maxlength')):
            if key in checks and element.tag_name == 'input' and element.get_attribute(attribute) != str(checks[key]):
                faults.append('%s: %s %r, schema %r' % (path, attribute, element.get_attribute(attribute), checks[key]))
        if node.get('writeOnly') and element.get_attribute('type') != 'password':
            faults.append(path + ': a secret shown in clear')
        return faults


IFACE = '1'
SSID = 'wifi.interfaces.%s.ssid.ssid' % IFACE
CHANNEL = 'wifi.interfaces.%s.channel' % IFACE
COUNTRY = 'wifi.country'


def read(path):
    with open(path, encoding='utf-8') as f:
        return f.read()


def leaf(doc, path):
    for part in path.split('.'):
        doc = doc[part]
    return doc


if __name__ == '__main__':
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    ARGS.update(zip(('vg_mgmt', 'kestd', 'vg_webd', 'artifacts'), sys.argv[1:5]))
    del sys.argv[1:5]
    unittest.main(verbosity=2)
