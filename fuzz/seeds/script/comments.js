/* function (__number a) main () { */ var n = 0; // it's
function (__string s , __boolean b) main (__string json) { __structure p = JSON.parse(json); return {s: p.s + "\"", b: /[/"]/.test(p.s)}; }