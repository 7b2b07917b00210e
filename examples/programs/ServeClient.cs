// Captures a frame through kvexa serve, sets a register, and saves a picture: ServeClient.exe URL [picture.jpg]
//
// URL is the line that kvexa serve prints, with the token behind the '#'. For 64-bit and 32-bit programs, on any computer
// that reaches the server; nothing of this package is needed.
//
//   csc ServeClient.cs
using System;
using System.IO;
using System.Net;
using System.Text;

sealed class Server
{
    private readonly string root;
    private readonly string token;
    private readonly string client = "csharp-" + Guid.NewGuid().ToString("N");

    public Server(string url)
    {
        int mark = url.IndexOf("#token=", StringComparison.Ordinal);
        if (mark < 0) throw new ArgumentException("the URL has no token: take the line that kvexa serve prints");
        root = url.Substring(0, mark) + "api/v1/";
        token = url.Substring(mark + "#token=".Length);
    }

    // The answer, which the caller disposes of. A refusal becomes an exception with the server's problem object.
    public HttpWebResponse Ask(string method, string path, string body)
    {
        HttpWebRequest request = (HttpWebRequest)WebRequest.Create(root + path);
        request.Method = method;
        request.Timeout = 60000;
        request.Proxy = null;
        request.Headers["Authorization"] = "Bearer " + token;
        request.Headers["X-Kvexa-Client"] = client;
        if (body != null)
        {
            byte[] bytes = Encoding.UTF8.GetBytes(body);
            request.ContentType = "application/json";
            using (Stream stream = request.GetRequestStream()) stream.Write(bytes, 0, bytes.Length);
        }
        try
        {
            return (HttpWebResponse)request.GetResponse();
        }
        catch (WebException error)
        {
            if (error.Response == null) throw;
            using (StreamReader reader = new StreamReader(error.Response.GetResponseStream()))
                throw new InvalidOperationException(reader.ReadToEnd());
        }
    }

    public string Text(string method, string path, string body)
    {
        using (HttpWebResponse answer = Ask(method, path, body))
        using (StreamReader reader = new StreamReader(answer.GetResponseStream())) return reader.ReadToEnd();
    }
}

static class ServeClient
{
    private static void Save(Stream source, string path)
    {
        using (FileStream file = File.Create(path)) source.CopyTo(file);
    }

    private static void Run(string url, string picture)
    {
        Server server = new Server(url);
        server.Text("POST", "capture", "{\"state\":\"start\"}");
        Console.WriteLine(server.Text("PUT", "registers", "{\"target\":\"sensor\",\"address\":12288,\"values\":[7]}"));
        using (HttpWebResponse frame = server.Ask("GET", "frame.jpg?wait=10000", null))
        {
            if (frame.StatusCode == HttpStatusCode.NoContent)
                throw new InvalidOperationException("no frame came; does the sensor stream?");
            Console.WriteLine("frame " + frame.Headers["X-Frame-Number"] + ", " + frame.Headers["X-Frame-Width"] + " x " +
                              frame.Headers["X-Frame-Height"]);
            Save(frame.GetResponseStream(), picture);
        }
        Console.WriteLine(picture);
        server.Text("POST", "wheel", "{\"action\":\"give\"}");
    }

    private static int Main(string[] args)
    {
        if (args.Length < 1 || args.Length > 2)
        {
            Console.Error.WriteLine("ServeClient.exe URL [picture.jpg]");
            return 2;
        }
        try
        {
            Run(args[0], args.Length > 1 ? args[1] : "frame.jpg");
            return 0;
        }
        catch (Exception error)
        {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }
}
