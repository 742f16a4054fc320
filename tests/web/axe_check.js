// Run in the page by the browser tests (after axe.min.js): axe-core's serious and critical
// violations of the page as it is now, as lines, through WebDriver's async-script callback.
const done = arguments[arguments.length - 1];
axe.run(document, { resultTypes: ['violations'] })
  .then((r) => done(r.violations
    .filter((v) => v.impact === 'serious' || v.impact === 'critical')
    .map((v) => v.id + ' (' + v.impact + '): ' + v.help + ' at ' +
      v.nodes.slice(0, 5).map((n) => n.target.join(' ')).join(', '))))
  .catch((e) => done(['axe-core failed: ' + e]));
