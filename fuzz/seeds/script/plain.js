function (__number x, __number y) main (__number t, __structure items[2])
{
	var r = new Object(); r.x = Math.sin(t); r.y = items[0].a; return r;
}
