// The score of two faces. Photographs are PPM files (P6), and a landmark file has a line "ID X Y" for
// each landmark: Example PHOTO LANDMARKS PHOTO LANDMARKS
using System;
using System.Globalization;
using System.IO;
using System.Linq;
using FaceFeature;

internal static class Example
{
    private static float[] FeatureOf(Engine engine, string photo, string landmarks)
    {
        byte[] file = File.ReadAllBytes(photo);
        string[] head = System.Text.Encoding.ASCII.GetString(file, 0, Math.Min(64, file.Length))
                              .Split(new[] {' ', '\n'}, 5);
        int width = int.Parse(head[1]), height = int.Parse(head[2]);
        byte[] pixels = file.Skip(file.Length - 3 * width * height).ToArray();
        for (int i = 0; i < pixels.Length; i += 3) Array.Reverse(pixels, i, 3);  // RGB to BGR
        var points = from line in File.ReadLines(landmarks)
                     let word = line.Split(' ')
                     select new Landmark(int.Parse(word[0]), Number(word[1]), Number(word[2]));
        return engine.Extract(pixels, width, height, 3 * width, points.ToList());
    }

    private static float Number(string text) => float.Parse(text, CultureInfo.InvariantCulture);

    private static void Main(string[] files)
    {
        using (var engine = new Engine())
        {
            float[] a = FeatureOf(engine, files[0], files[1]);
            float[] b = FeatureOf(engine, files[2], files[3]);
            Console.WriteLine(Features.Compare(a, b).ToString("R", CultureInfo.InvariantCulture));
        }
    }
}
